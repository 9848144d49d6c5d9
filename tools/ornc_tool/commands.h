// The subcommands of ornc-tool. Each takes the arguments after its name
// and returns the tool's exit code (see ExitCode).
#pragma once

namespace ornctool {

struct Subcommand {
    const char* name;
    const char* summary;
    int (*run)(int argc, char** argv);
};

// discovery_commands.cpp
int run_list(int argc, char** argv);
int run_info(int argc, char** argv);
// parameter_commands.cpp
int run_params(int argc, char** argv);
int run_get(int argc, char** argv);
int run_set(int argc, char** argv);
int run_exec(int argc, char** argv);
int run_describe(int argc, char** argv);
// component_commands.cpp
int run_components(int argc, char** argv);
// network_commands.cpp
int run_ipconfig(int argc, char** argv);
// doctor_command.cpp
int run_doctor(int argc, char** argv);
// description_commands.cpp
int run_dump_xml(int argc, char** argv);
// acquisition_commands.cpp (built once the library offers acquisition)
int run_grab(int argc, char** argv);
int run_events(int argc, char** argv);
// action_commands.cpp (sync only with acquisition)
int run_action(int argc, char** argv);
int run_sync(int argc, char** argv);

}  // namespace ornctool

// Readers of the machine's configuration store (section
// "SOFTWARE\Veltmark\ORNC"). Linux has no such store: both readers fail
// there without touching their output, so the defaults hold. They stay
// separate functions so that a platform with a store can supply its own.
#pragma once

typedef enum regio_result_ { REGIO_OK = 0, REGIO_ERROR = 1 } regio_result_t;

// `key` 0 selects the per-machine store.
regio_result_t loadRegInt(int key, const char* i_path, const char* i_valueName, int* o_int);
regio_result_t loadRegString(int key, const char* i_path, const char* i_valueName, char* o_str, int len);

#define ORNC_REGISTRY_PATH "SOFTWARE\\Veltmark\\ORNC"

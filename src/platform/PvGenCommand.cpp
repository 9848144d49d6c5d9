#include "platform/PvGenCommand.h"

#include <arv.h>

PvResult PvGenCommand::Execute() {
    return WriteLocked(
        [this](GError** error) { arv_gc_command_execute(reinterpret_cast<ArvGcCommand*>(node()), error); });
}

#include "platform/PvGenCommand.h"

#include <arv.h>

#include <mutex>

#include "platform/PvGenParameterArray.h"
#include "platform/aravis_result.h"

PvResult PvGenCommand::Execute() {
    PvResult result = CheckWritable();
    if (result.IsFailure()) {
        return result;
    }
    {
        std::lock_guard<std::mutex> guard(owner()->GetLock());
        GError* error = nullptr;
        arv_gc_command_execute(reinterpret_cast<ArvGcCommand*>(node()), &error);
        result = platform::take_error(error);
        if (result.IsOK()) {
            result = AfterWriteLocked();
        }
    }
    if (result.IsOK()) {
        NotifyUpdate();
    }
    return result;
}

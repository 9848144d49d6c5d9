// The library handle: creation with the configuration it reads, release,
// and the version texts.
#include <cstdlib>
#include <cstring>
#include <new>

#include "ORNC.h"
#include "base/log.h"
#include "camera/config_reader.h"
#include "camera/handle_guard.h"
#include "camera/ornc_priv.h"
#include "camera/recovery.h"
#include "camera/system_priv.h"
#include "platform/PvSystem.h"

namespace {

constexpr const char* kVersionDetail = "ORNC SDK 1.6.2.5563";
constexpr size_t kVersionPrefixLength = 9;  // "ORNC SDK "
constexpr int kLogFileNameSize = 512;

void ORNC_InitLoggingFromRegistry() {
    int enable = 0;
    if (loadRegInt(0, ORNC_REGISTRY_PATH, "LogEnable", &enable) != REGIO_OK || enable == 0) {
        return;
    }
    int console = 0;
    int level = ORN_LOGLVL_MASK_WARN;
    int category = ORN_LOGCAT_MASK_ALL;
    loadRegInt(0, ORNC_REGISTRY_PATH, "LogConsole", &console);
    loadRegInt(0, ORNC_REGISTRY_PATH, "LogLevel", &level);
    loadRegInt(0, ORNC_REGISTRY_PATH, "LogCategory", &category);
    if (level == 0) level = ORN_LOGLVL_MASK_WARN;
    if (category == 0) category = ORN_LOGCAT_MASK_ALL;
    char name[kLogFileNameSize];
    std::memset(name, 0, sizeof name);
    loadRegString(0, ORNC_REGISTRY_PATH, "LogFile", name, sizeof name);
    ORNLogSetLevel(level);
    ORNLogSetCategory(category);
    if (ORNLogStartFilename(name, console) == ORN_ERR_OPEN_FILE_APPEND) {
        ORN_LOGF(ORN_LOGLVL_ERROR, ORN_LOGCAT_MISC, "ORNC: Cannot open file %s for logging", name);
    }
}

}  // namespace

extern "C" {

void ORNCInitEmpty(ornc_t* ornc) {
    if (ornc != nullptr) {
        ornc->priv = nullptr;
    }
}

ornc_status_t ORNCInit(ornc_t* ornc) {
    if (ornc == nullptr) {
        return ORNC_ERR_UNINITIALIZED;
    }
    ORNCInitEmpty(ornc);
    ORNC_InitLoggingFromRegistry();

    int dump_xml = 0;
    char dump_xml_file[kORNCDumpXMLFileSize];
    dump_xml_file[0] = '\0';
    loadRegInt(0, ORNC_REGISTRY_PATH, "LogXML", &dump_xml);
    loadRegString(0, ORNC_REGISTRY_PATH, "LogXMLFile", dump_xml_file, sizeof dump_xml_file);

    ornc->priv = static_cast<ornc_priv_t*>(std::calloc(1, sizeof(ornc_priv_t)));
    ORNCHandleGuard* guard = ornc->priv != nullptr ? new (std::nothrow) ORNCHandleGuard : nullptr;
    if (guard == nullptr) {
        std::free(ornc->priv);
        ornc->priv = nullptr;
        return ORNC_ERR_OUT_OF_MEMORY;
    }
    ornc->priv->guard = guard;
    ornc->priv->dump_xml = dump_xml;
    ORNStringCopy(ornc->priv->dump_xml_file, dump_xml_file, sizeof ornc->priv->dump_xml_file);
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNCInit success");
    return ORNC_OK;
}

void ORNCDestroy(ornc_t* ornc) {
    if (ornc == nullptr || ornc->priv == nullptr) {
        return;
    }
    ORNC_RecoveryRelease(ornc->priv);
    delete ornc->priv->guard;
    delete ornc->priv->lSystem;
    std::free(ornc->priv);
    ornc->priv = nullptr;
    ORNC_ReleaseTmpSys();
    ORN_LOGF(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT, "ORNC: Destroyed");
    ORNLogStop();
}

int ORNCGetVersion(char* buf, int len) { return ORN_StringCopy(buf, kVersionDetail + kVersionPrefixLength, len); }

int ORNCGetVersionDetail(char* buf, int len) { return ORN_StringCopy(buf, kVersionDetail, len); }

}  // extern "C"

// Private state behind ornc_t. Allocated zero-filled with calloc by
// ORNCInit and released with free by ORNCDestroy, so every field must be
// valid when all its bytes are zero; the objects the pointers refer to are
// created and released by the operations that fill them (connect,
// components, events, acquisition).
#pragma once

#include <list>

#include "ORNC.h"
#include "camera/frame_tracking.h"

class PvDevice;
class PvDeviceGEV;
class PvStream;
class PvStreamGEV;
class PvBuffer;
class PvSystem;
class PvGenCommand;
class PvGenEnum;
class PvGenFloat;
class PvGenParameterArray;
class PvGenCategory;
class ORNCDeviceEventSink;
struct ORNCRecovery;
struct ORNCHandleGuard;

// The stream buffers of a connected handle, in allocation order.
typedef std::list<PvBuffer*> BufferList;

constexpr int kORNCMaxComponents = 100;
constexpr int kORNCDumpXMLFileSize = 520;

struct ornc_priv_ {
    PvDevice* lDevice;
    PvStream* lStream;
    BufferList* lBufferList;
    PvDeviceGEV* lDeviceGEV;
    PvStreamGEV* lStreamGEV;
    ORNCDeviceEventSink* lEventSink;
    PvGenCommand* lAcquisitionStart;
    PvGenCommand* lAcquisitionStop;
    PvGenEnum* lAcquisitionMode;
    PvGenEnum* lTriggerMode;
    PvGenEnum* lTriggerSource;
    PvGenEnum* lTriggerSelector;
    PvGenCommand* lTriggerSoftware;
    ornc_acqui_state_t acquistate;
    orn_thread_t acquisition_thread;
    PvGenFloat* lFrameRate;
    PvGenFloat* lBandwidth;
    PvGenParameterArray* lDeviceParams;
    PvGenParameterArray* lStreamParams;
    PvGenParameterArray* lCommunicationParams;
    orn_int32_t categories_count;
    PvGenCategory* catgories;  // spelled so on purpose: the name is shared with other code
    void (*image_callback)(orn_image_t*, void*);
    void* image_callback_data;
    void (*imagevec_callback)(orn_image_vec_t*, void*);
    void* imagevec_callback_data;
    void (*disconnect_callback)(void*);
    void* disconnect_callback_data;
    void (*event_callback)(orn_uint64_t, ornc_param_list_t*, void*);
    void* event_callback_data;
    orn_int32_t dump_xml;
    char dump_xml_file[kORNCDumpXMLFileSize];
    PvSystem* lSystem;
    ornc_component_t comp_array[kORNCMaxComponents];
    orn_int32_t comp_count;
    ornc_param_t* param_source;
    ornc_param_t* param_region;
    ornc_param_t* param_component;
    ornc_param_t* param_compenable;
    ornc_param_t* param_pixelformat;
    orn_int32_t sources;
    orn_int32_t regions;
    orn_int32_t components;
    orn_int32_t pixelformats;
    orn_int32_t delivery_period_ms;         // 0: the base pacing
    orn_int32_t delivery_buffers_per_pass;  // 0: the base pacing
    ornc_frame_tracking_t frames;
    orn_int32_t monitor;     // connected without control (ORNCConnectByDeviceMonitor)
    ORNCRecovery* recovery;  // write journal and automatic recovery; made at the first connect
    ORNCHandleGuard* guard;  // of the connection fields (handle_guard.h); made by ORNCInit
};

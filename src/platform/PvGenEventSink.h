// Observer of parameter changes. A sink registered on a parameter is told
// after every successful change made through the platform, on the thread
// that made the change. The platform never owns a sink.
#pragma once

class PvGenParameter;

class PvGenEventSink {
public:
    virtual ~PvGenEventSink() = default;
    virtual void OnParameterUpdate(PvGenParameter* parameter) = 0;
};

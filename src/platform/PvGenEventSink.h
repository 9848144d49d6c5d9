// Observer of parameter changes. A sink registered on a parameter is told
// after every successful change made through the platform to that
// parameter or to one its value depends on (a node it reads, a formula
// input, its selector, index, bounds or invalidator, transitively), on the
// thread that made the change. Changes the device makes by itself are not
// seen. The platform never owns a sink.
#pragma once

class PvGenParameter;

class PvGenEventSink {
public:
    virtual ~PvGenEventSink() = default;
    virtual void OnParameterUpdate(PvGenParameter* parameter) = 0;
};

// How a device may be accessed by this host, as the transport reports it.
// The numbering is the transport's own (exclusive before read-only).
#pragma once

enum PvAccessType {
    PvAccessUnknown = 0,
    PvAccessOpen = 1,       // no application holds control
    PvAccessControl = 2,    // another application holds control
    PvAccessExclusive = 3,  // another application holds exclusive control
    PvAccessReadOnly = 4,
};

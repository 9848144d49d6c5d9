// The multipart component table of a connected handle.
#pragma once

#include "ORNC.h"

// Looks up the selector nodes, walks every source, region and component
// with its available pixel formats into the handle's table (appending to
// what is there) and restores the selectors. Runs as the last step of
// connect; its status is the connect's result.
ornc_status_t ORNC_InitComponents(const ornc_t* ornc);
// Only looks up the selector nodes (a monitor's connect: the walk moves
// the selectors). ORNC_ERR_PARAM_UNDEFINED (logged) for a missing one.
ornc_status_t ORNC_LookupComponentNodes(const ornc_t* ornc);

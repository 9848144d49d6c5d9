// The loopback addresses of the test suites. Each suite owns one block,
// 127.0.<block>.1-254, and its CTest cases share the resource lock
// ornc_loopback_<block>, so that suites never meet each other's sensors
// and the cases of one suite never run at the same time.
#pragma once

#include <string>

namespace orntest {

enum class Block : int {
    sim = 31,              // tests/sim
    discovery = 44,        // tests/device discovery and device details
    interop = 45,          // tests/interop
    platform = 46,         // tests/device platform node map and connect
    platform_stream = 47,  // tests/device platform stream, events, notifications
    camera = 52,           // tests/device camera API
    acquisition = 60,      // tests/device acquisition
    hostile = 70,          // tests/hostile
    tool = 73,             // tests/tool
    python = 81,           // tests/python (the pytest suite writes 127.0.81.x itself)
    broken_stream = 93,    // tests/hostile stream cuts and event floods
};

// "127.0.<block>.<host>".
std::string loopback(Block block, int host);
// A locally administered MAC address that names the block and the host.
std::string loopback_mac(Block block, int host);

}  // namespace orntest

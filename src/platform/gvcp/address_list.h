// A list of IPv4 addresses (host byte order).
//
// Why not plain std::vector<uint32_t>: template code instantiated only on
// standard types keeps default visibility even in a library built with
// hidden visibility, so libORNC.so would export it. An allocator type of
// our own makes the instantiation ours, and hidden.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace gvcp {

template <typename T>
struct PrivateAllocator : std::allocator<T> {
    using value_type = T;
    PrivateAllocator() = default;
    template <typename U>
    PrivateAllocator(const PrivateAllocator<U>&) noexcept {}  // NOLINT: allocator conversion
    template <typename U>
    struct rebind {
        using other = PrivateAllocator<U>;
    };
};

using AddressList = std::vector<uint32_t, PrivateAllocator<uint32_t>>;
using DescriptorList = std::vector<int, PrivateAllocator<int>>;

}  // namespace gvcp

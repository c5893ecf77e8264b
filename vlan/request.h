// Request buffers live in host memory with no alignment promise: fields are copied out, never
// read through a cast pointer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace esw::vlan {

// The field of type T at `offset` of the host's request buffer (which must not be null).
template <class T>
T request_field(const void* request, std::size_t offset = 0) {
    static_assert(std::is_trivially_copyable_v<T>);
    T value;
    std::memcpy(&value, static_cast<const unsigned char*>(request) + offset, sizeof value);
    return value;
}

}  // namespace esw::vlan

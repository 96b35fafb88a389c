// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

/// Where the C++ ABI puts virtual operations and fields, which compiled programs rely on.
namespace helpers {

/// The place of a virtual operation in its class's table, as a pointer to member holds it: 0 and 1
/// are the destructor's where that stands first.
template <class Member>
std::size_t slotOf(Member member) {
    struct {
        std::ptrdiff_t pointer;
        std::ptrdiff_t adjustment;
    } raw{};
    static_assert(sizeof raw == sizeof member);
    std::memcpy(&raw, &member, sizeof raw);
#if defined(__arm__)
    const auto offset = raw.pointer;
#else
    const auto offset = raw.pointer - 1;
#endif
    return static_cast<std::size_t>(offset) / sizeof(void*);
}

/// The place of a field in its class, as a pointer to member holds it.
template <class Member>
std::ptrdiff_t offsetOf(Member member) {
    std::ptrdiff_t offset = 0;
    static_assert(sizeof offset == sizeof member);
    std::memcpy(&offset, &member, sizeof offset);
    return offset;
}

struct FieldOrder {
    const char* type;
    std::vector<std::ptrdiff_t> offsets;
};
inline std::vector<FieldOrder>& fieldOrders() {
    static std::vector<FieldOrder> orders;
    return orders;
}

/// Fields in their order; private ones too, as an explicit instantiation may name them. References
/// cannot be named.
///
///     template struct helpers::Fields<UnixTime, &UnixTime::seconds_, &UnixTime::highPrecision_>;
///     TEST(Layout, FieldsStandInOrder) { helpers::expectFieldsInOrder(1); }
template <class Class, auto... members>
struct Fields {
    static inline const bool known =
        (fieldOrders().push_back({typeid(Class).name(), {offsetOf(members)...}}), true);
};

/// Each field stands behind the one before it, in each of `classes` classes.
inline void expectFieldsInOrder(std::size_t classes) {
    EXPECT_EQ(fieldOrders().size(), classes);
    for (const auto& [type, offsets] : fieldOrders()) {
        EXPECT_EQ(std::adjacent_find(offsets.begin(), offsets.end(), std::greater_equal<>()),
                  offsets.end())
            << type;
    }
}

}  // namespace helpers

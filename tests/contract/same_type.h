#ifndef BIZ_TESTS_CONTRACT_SAME_TYPE_H
#define BIZ_TESTS_CONTRACT_SAME_TYPE_H

#include <cstddef>
#include <type_traits>

/** The exact type of a member or operation, as a host takes it without a cast. */
#define BIZ_HAS_TYPE(expression, ...)                                                                                  \
    static_assert(std::is_same<decltype(expression), __VA_ARGS__>::value, #expression " is not " #__VA_ARGS__)

/** Where a field lies on platforms with 64-bit pointers. */
#define BIZ_LIES_AT(type, field, offset)                                                                               \
    static_assert(sizeof(void *) != 8 || offsetof(type, field) == (offset), #field " has moved")

#endif

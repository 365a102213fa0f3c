#ifndef BIZ_TESTS_CONTRACT_SAME_TYPE_H
#define BIZ_TESTS_CONTRACT_SAME_TYPE_H

#include <cstddef>
#include <type_traits>

#include <QtCore/QtGlobal>

namespace biz::test {

/** A place or a size in bytes with Qt 5 and with Qt 6, where texts, byte arrays and lists are larger. */
constexpr std::size_t inThisQt(std::size_t withQt5, std::size_t withQt6)
{
    return QT_VERSION_MAJOR == 5 ? withQt5 : withQt6;
}

constexpr std::size_t inThisQt(std::size_t withEither)
{
    return withEither;
}

} // namespace biz::test

/** The exact type of a member or operation, as a host takes it without a cast. */
#define BIZ_HAS_TYPE(expression, ...)                                                                                  \
    static_assert(std::is_same<decltype(expression), __VA_ARGS__>::value, #expression " is not " #__VA_ARGS__)

/**
 * A field's exact type, and where it lies on platforms with 64-bit pointers: `places` is (with Qt 5, with Qt 6), or one
 * place with either.
 */
#define BIZ_HOLDS(type, field, places, ...)                                                                            \
    BIZ_HAS_TYPE(type::field, __VA_ARGS__);                                                                            \
    static_assert(sizeof(void *) != 8 || offsetof(type, field) == biz::test::inThisQt places, #field " has moved")

/** The size of a structure there, whose fields lie where BIZ_HOLDS says. */
#define BIZ_HAS_SIZE(type, ...)                                                                                        \
    static_assert(std::is_standard_layout<type>::value, "offsets need it");                                            \
    static_assert(sizeof(void *) != 8 || sizeof(type) == biz::test::inThisQt(__VA_ARGS__),                             \
                  "a field of " #type " was added or removed")

#endif

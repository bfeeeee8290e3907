#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/graphics/IOGraphicsLib.h>
#include <MacTypes.h>
#include <dispatch/dispatch.h>
#include <mach/mach.h>
#include <mach/mach_error.h>
#include <spawn.h>

// The header doesn't say that its functions are C's.
extern "C" {
#include <IOKit/i2c/IOI2CInterface.h>
}

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "plugin/Platform/CoreDisplay.h"
#include "plugin/Platform/IOAVService.h"

// The platform's own header of some of I/O Kit's types, where it is: there they have to agree.
#if __has_include(<device/device_types.h>)
#define IOKIT 1
#include <device/device_types.h>
#endif

// The stand-in headers against the platform's documentation, by the page that compares them,
// docs/platform-declarations.md. Compiling this file is the test: a wrong width here would be a
// wrong width on every Mac. It names nothing of the simulated Mac's own: `make mac` compiles it
// against those of the platform's headers that can be had, and a Mac can against its SDK.

namespace platform_headers_test {

template <class T, class Documented>
constexpr bool is = std::is_same_v<T, Documented>;

/// A function's type without the promise not to throw, which some compilers count as part of it.
template <class Function>
struct WithoutNoexcept {
    using Type = Function;
};
template <class Result, class... Arguments>
struct WithoutNoexcept<Result(Arguments...) noexcept> {
    using Type = Result(Arguments...);
};

#define FUNCTION(name, ...) static_assert(is<WithoutNoexcept<decltype(name)>::Type, __VA_ARGS__>)
#define TYPE(name, ...) static_assert(is<name, __VA_ARGS__>)
#define UNDERLYING(enumeration, type) static_assert(is<std::underlying_type_t<enumeration>, type>)
#define SIZE(structure, bytes) static_assert(sizeof(structure) == (bytes))
#define ALIGNMENT(structure, bytes) static_assert(alignof(structure) == (bytes))
#define FIELD(structure, name, type, offset) \
    static_assert(is<decltype(structure::name), type> && offsetof(structure, name) == (offset))
#define VALUE(name, value) static_assert(name == (value))
#define TYPED_VALUE(name, type, value) \
    static_assert(is<decltype(name), type> && name == static_cast<std::remove_const_t<type>>(value))
#define TEXT(name, value) static_assert(std::string_view(name) == (value))

// What the page itself says. The platform has deprecated some of the functions.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <declaration_checks.inc>
#pragma GCC diagnostic pop

// By hand: what depends on the processor, macros with arguments, and dispatch objects.

#if defined(__aarch64__)
static_assert(is<boolean_t, int>);
#else
static_assert(is<boolean_t, unsigned int>);
#endif
static_assert(is<decltype(mach_task_self()), mach_port_t>);
static_assert(is<decltype(CFSTR("text")), CFStringRef>);

// No program makes, copies or destroys a dispatch object itself.
static_assert(!std::is_default_constructible_v<dispatch_object_s> &&
              !std::is_destructible_v<dispatch_object_s> &&
              !std::is_copy_constructible_v<dispatch_object_s> &&
              !std::is_copy_assignable_v<dispatch_object_s>);
static_assert(std::is_convertible_v<dispatch_queue_t, dispatch_object_t> &&
              std::is_convertible_v<dispatch_queue_attr_t, dispatch_object_t> &&
              std::is_convertible_v<dispatch_semaphore_t, dispatch_object_t>);
// The SDK's answer is of a kind derived from dispatch_queue_t.
static_assert(std::is_convertible_v<decltype(dispatch_get_main_queue()), dispatch_queue_t>);

#undef TEXT
#undef TYPED_VALUE
#undef VALUE
#undef FIELD
#undef ALIGNMENT
#undef SIZE
#undef UNDERLYING
#undef TYPE
#undef FUNCTION

}  // namespace platform_headers_test

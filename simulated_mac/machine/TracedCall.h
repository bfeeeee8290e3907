#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "simulated_mac/description/MacDescription.h"
#include "simulated_mac/description/Time.h"

namespace simulated_mac {

/// A number that is written in hexadecimal: handles, addresses, flags, I/O results.
struct Hex {
    std::uint64_t value = 0;
    bool operator==(const Hex&) const = default;
};

/// A text that is written in quotation marks.
struct Quoted {
    std::string text;
    bool operator==(const Quoted&) const = default;
};

/// Only whether there was one: addresses differ from run to run.
struct Pointer {
    bool isNull = false;
    bool operator==(const Pointer&) const = default;
};

/// The handle of a registry object, with the name of its entry where it is one's.
struct RegistryObject {
    std::uint32_t handle = 0;
    std::optional<std::string> entryName;
    bool operator==(const RegistryObject&) const = default;
};

/// What a platform call was given or answered.
struct CallValue {
    using Value = std::variant<std::monostate, bool, std::int64_t, Hex, Time, std::string, Quoted,
                               Bytes, Pointer, RegistryObject>;

    // Not inline: every platform function makes some of these.
    CallValue();
    CallValue(const CallValue&);
    CallValue(CallValue&&) noexcept;
    CallValue& operator=(const CallValue&);
    CallValue& operator=(CallValue&&) noexcept;
    ~CallValue();

    template <std::integral Number>
    CallValue(Number number) : CallValue(Decimal{static_cast<std::int64_t>(number)}) {}
    CallValue(bool flag);
    CallValue(Hex number);
    CallValue(Time duration);
    CallValue(std::string text);
    CallValue(std::string_view text);
    /// The platform's texts may be NULL.
    CallValue(const char* text);
    CallValue(Quoted text);
    CallValue(Bytes bytes);
    CallValue(Pointer pointer);
    CallValue(const void*) = delete;  // would be a flag
    CallValue(RegistryObject object);

    bool operator==(const CallValue&) const;

    Value value;

  private:
    struct Decimal {
        std::int64_t number;
    };
    explicit CallValue(Decimal decimal);
};

/// A value under the name by which programs look for it.
struct NamedValue {
    NamedValue(std::string_view nameAndLabel, CallValue givenValue);
    NamedValue(std::string_view givenName, CallValue givenValue, std::string_view givenLabel);

    bool operator==(const NamedValue&) const = default;

    std::string_view name;  ///< a literal, as the label is
    CallValue value;
    std::string_view label;  ///< what reports write in front of the value
};
using NamedValues = std::vector<NamedValue>;

/// Of a value that speaks for itself in a report.
inline constexpr std::string_view unlabelled;
/// Of a text in which the one in front is looked for.
inline constexpr std::string_view labelIn = "in";

/// The value of this name; nothing without one.
const CallValue& valueNamed(std::string_view name, const NamedValues& values);

/// One platform call. CallText.h makes the text of reports out of it.
struct TracedCall {
    Time time{0};
    std::string thread;
    std::string call;
    NamedValues arguments;
    CallValue result;                 ///< nothing where the call returns nothing
    NamedValues furtherResults = {};  ///< what it answers by other ways than its result
    bool failed = false;              ///< on purpose, by a fault of the Mac file

    const CallValue& argument(std::string_view name) const { return valueNamed(name, arguments); }
    const CallValue& furtherResult(std::string_view name) const {
        return valueNamed(name, furtherResults);
    }
};

}  // namespace simulated_mac

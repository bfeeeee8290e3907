#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "simulated_mac/description/MacDescription.h"

namespace simulated_mac {

class CFObject;
/// A reference that the Mac itself holds; it does not count as the plug-in's.
using CFPointer = std::shared_ptr<const CFObject>;

/// A Core Foundation object: its value, and how many references the plug-in holds.
class CFObject : public std::enable_shared_from_this<CFObject> {
  public:
    using String = std::u16string;
    using Array = std::vector<CFPointer>;
    using Dictionary = std::vector<std::pair<std::string, CFPointer>>;
    /// The opaque object of an AV service, a run loop source and the like.
    struct Opaque {
        std::string type;
        std::uint64_t id = 0;
    };
    using Value =
        std::variant<bool, std::int64_t, double, String, Bytes, Array, Dictionary, Opaque>;

    explicit CFObject(Value initial) : value(std::move(initial)) {}

    Value value;
};

CFPointer makeCF(CFObject::Value value);
CFPointer makeCFText(std::string_view utf8);
/// nullptr for a missing value.
CFPointer makeCF(const PropertyValue& value);
/// The other way round; an opaque object is the name of its type.
PropertyValue propertyValueOf(const CFObject& object);
PropertyMap propertyMapOf(const CFObject::Dictionary& dictionary);

/// Whole or not: Core Foundation has one type for both.
bool isNumber(const CFObject& object);

std::string utf8Of(const CFObject::String& string);

}  // namespace simulated_mac

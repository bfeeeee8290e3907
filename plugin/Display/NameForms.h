#pragma once

#include <string>

#include "plugin/Extension/NSString+normalization.h"
#include "plugin/Platform/Text.h"

/// A display's name in the forms in which a run asks for its model.
struct NameForms {
    explicit NameForms(const std::string& displayName)
        : name(displayName),
          upperCase(vorn::uppercaseText(displayName)),
          bareModel(bareModelName(displayName, upperCase)) {}

    std::string name;  ///< that of the screen
    std::string upperCase;
    std::string bareModel;  ///< as regularMonitorName has it
};

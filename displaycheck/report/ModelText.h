#pragma once

#include <string>

#include "displaycheck/facts/ModelFacts.h"

/// How the pane classifies a display's name, for people: what matched, or what nearly did.
namespace displaycheck {

/// Whether the name is listed, and as what.
std::string modelListText(const ModelFacts& facts);

/// "yes", or "no" with the model that has the chip and is nearly named so.
std::string specialChipText(const ModelFacts& facts);

/// `25 in "K2725QX"`
std::string modelYearText(const ModelFacts& facts);

/// `nearly listed as K2723QX; the trailing " (1)" prevents the match`
std::string nearlyListedText(const NearMiss& near);

/// `K2722D has it, but the "VORN " in front of it prevents the match`
std::string nearlySpecialChipText(const NearMiss& near);

}  // namespace displaycheck

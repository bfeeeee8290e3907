#pragma once

#include <stdexcept>

namespace displaycheck {

/// A dump that can't be read or used; what() says why, in words for its owner.
class DumpError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace displaycheck

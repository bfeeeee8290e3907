#pragma once

#include <stdexcept>

namespace displaycheck {

/// A dump can't be read. what() says why, without the file's name.
class DumpError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace displaycheck

#pragma once

namespace displaycheck {

/// The program's exit statuses, the same for every command.
enum ExitStatus : int {
    done = 0,
    unfinished = 1,  ///< a run did not finish as the installer needs it
    badInput = 2,    ///< wrong usage, or a file that can't be read
};

}  // namespace displaycheck

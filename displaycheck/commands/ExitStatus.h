#pragma once

namespace displaycheck {

/// The program's exit statuses, the same for every command.
enum ExitStatus : int {
    done = 0,
    unfinished =
        1,         ///< a run failed, a comparison found differences, or the output can't be written
    badInput = 2,  ///< wrong usage, or an invalid or unreadable file
    unexpected = 3,  ///< a run is not as its file expects
};

}  // namespace displaycheck

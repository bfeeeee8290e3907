#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "displaycheck/facts/Effects.h"
#include "displaycheck/facts/Explanation.h"
#include "displaycheck/facts/TextRange.h"
#include "plugin/Display/displayInfo.h"
#include "plugin/MyInstallerPane.h"
#include "simulated_mac/description/Assumption.h"
#include "simulated_mac/machine/Mac.h"

namespace displaycheck {

/// The pane as its user sees it.
struct PaneFacts {
    std::string title;
    std::string lbTitle;
    std::string lbWarnings;
    std::optional<TextRange> link;  ///< the part of lbWarnings that looks like a link
    bool nextEnabled = false;       ///< Continue
    int clickRecognizers = 0;       ///< of the warning label
    std::vector<std::string> openedAddresses;

    bool warningShown() const { return !lbWarnings.empty(); }
};

struct DisplayFacts {
    std::shared_ptr<const displayInfo> record;
    Explanation why;
};

/// Something that a run shows otherwise than its Mac's file expects. All three are for people.
struct Difference {
    std::string what;
    std::string expected;
    std::string found;
};

/// The outcome of a run.
enum class Verdict {
    warns,
    doesNotWarn,
    noRun,   ///< no detection run finished
    failed,  ///< the run gave no report
};

/// "warns", "does not warn", "no run" or "failed".
std::string_view nameOf(Verdict verdict);

/// The facts of a finished run.
struct Report {
    std::string file;
    std::string mac;  ///< its title
    /// What was assumed of the Mac's unknown monitors; nothing for a Mac without any.
    std::optional<simulated_mac::Assumption> assumed;
    simulated_mac::Scheduler::Outcome outcome = simulated_mac::Scheduler::Outcome::quiet;
    simulated_mac::Time end{0};  ///< on the virtual clock
    PaneFacts pane;
    std::vector<DisplayFacts> displays;
    CameraDictionary cameras;
    std::size_t runs = 0;  ///< detection runs that finished, each with Continue enabled
    /// From entering the pane for the first time to the first enabled Continue.
    std::optional<simulated_mac::Time> elapsed;
    std::vector<simulated_mac::TimelineEntry> timeline;
    std::vector<std::string> systemLog;
    std::string standardOutput;                      ///< of the plug-in, bytes as they came
    std::map<std::string, std::int64_t> references;  ///< that the plug-in holds, by kind
    std::vector<simulated_mac::TracedCall> trace;
    std::vector<std::string> misuses;
    /// Nothing for a Mac whose file expects nothing in particular.
    std::optional<std::vector<Difference>> differences;
    /// What of the Mac file did nothing.
    std::vector<WithoutEffect> withoutEffect;
    /// The last call that the Mac file made to fail, if its thread did nothing of note after it.
    std::optional<simulated_mac::TracedCall> failedCall;
    /// The threads that waited at the end of a run that got stuck.
    std::vector<simulated_mac::Scheduler::Waiting> waiting;
};

/// Why a run did not end as runs do.
struct Problem {
    std::string text;
    /// The call after which nothing went on; nothing if none was made to fail.
    std::optional<simulated_mac::TracedCall> call;
};

/// The platform calls from which a report is derived: the Mac's trace must keep them.
std::set<std::string, std::less<>> callsOfReports();

/// Gathers the facts of a finished run, on the Mac's main thread.
Report makeReport(std::string file, const simulated_mac::Mac& mac, vorn::MyInstallerPane& pane,
                  simulated_mac::Scheduler::Outcome outcome, std::string standardOutput);

Verdict verdictOf(const Report& report);

/// Whether a displayState is one of the supported ones: confirmed, or by the model list alone.
bool isSupportedState(std::int64_t displayState);

/// Nothing if the run came to its end with Continue enabled.
std::optional<Problem> problemOf(const Report& report);

/// The problems of the run itself, whatever its verdict, misuses of the platform among them; empty
/// if there were none.
std::vector<std::string> problemsOf(const Report& report);

/// Virtual time in seconds with three decimals, such as "12.500 s".
std::string secondsText(simulated_mac::Time time);

}  // namespace displaycheck

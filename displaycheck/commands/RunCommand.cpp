#include "displaycheck/commands/RunCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "displaycheck/commands/ExitStatus.h"
#include "displaycheck/commands/MacFiles.h"
#include "displaycheck/commands/Plays.h"
#include "displaycheck/host/AssumedMac.h"
#include "displaycheck/host/StandardError.h"
#include "displaycheck/host/WholeFile.h"
#include "displaycheck/report/AssumptionText.h"
#include "displaycheck/report/HTMLReport.h"
#include "displaycheck/report/JSONReport.h"
#include "displaycheck/report/JUnitReport.h"
#include "displaycheck/report/Summary.h"

namespace displaycheck {

namespace {

/// With more files than this, a summary is more use than all reports.
constexpr std::size_t mostReports = 3;

std::vector<Play> playsOf(const MacFile& file, const RunOptions& options) {
    std::vector<Play> plays;
    for (const auto& assumed : assumptionsFor(file.description)) {
        if (options.assume && assumed && assumed != options.assume) continue;
        plays.push_back({file.path, file.description, assumed});
    }
    return plays;
}

PlayOptions playOptions(const RunOptions& options, bool printsText) {
    PlayOptions playing;
    playing.text = printsText;
    playing.log = options.log;
    playing.trace = options.trace;
    playing.traceApart = !options.traceFile.empty();
    if (playing.traceApart && !playing.trace) playing.trace = "*";
    playing.realtime = options.realtime;
    playing.language = options.language;
    // The progress of one run alone can be followed.
    playing.jobs = options.realtime ? 1 : jobsFor(options.jobs);
    return playing;
}

/// The reports on a Mac with unknown monitors: what holds either way stands there once.
std::string textOf(const std::vector<RunRecord>& runs, const std::vector<Play>& plays,
                   const Terminal& terminal) {
    const std::size_t unknown = simulated_mac::countUnknownMonitors(plays[0].description);
    const auto section = [&](const std::string& heading, const std::string& text) {
        const auto bold = [&](std::string_view line) { return terminal.output.bold(line); };
        return text.empty()
                   ? ""
                   : "\n" + paragraph(heading + ":", terminal.columns, 0, 0, bold) + "\n" + text;
    };
    const auto opening = [&](const std::string& verdict) {
        return paragraph(plays[0].path + ": " + verdict, terminal.columns, 0, 2);
    };
    if (runs.size() == 1) {
        const simulated_mac::Assumption assumed = *plays[0].assumed;
        return opening(singleVerdict(assumed, runs[0].verdict, unknown)) +
               section(condition(assumed, unknown), runs[0].text);
    }
    std::string text = opening(bothVerdicts(runs[0].verdict, runs[1].verdict, unknown));
    if (runs[0].text == runs[1].text) return text + section(eitherWay(unknown), runs[0].text);
    for (std::size_t at = 0; at < runs.size(); ++at) {
        text += section(condition(*plays[at].assumed, unknown), runs[at].text);
    }
    return text;
}

/// One line on a terminal that says how far many runs have come.
class RunCount {
  public:
    RunCount(bool isShown, std::size_t all) : isShown_(isShown), all_(all) {}
    ~RunCount() { erase(); }
    RunCount(const RunCount&) = delete;
    RunCount& operator=(const RunCount&) = delete;

    void show(std::size_t over) const {
        if (isShown_) printError("\r\x1B[K{} of {} runs", over, all_);
    }
    void erase() const {
        if (isShown_) printError("\r\x1B[K");
    }

  private:
    bool isShown_;
    std::size_t all_;
};

/// Shows what the runs gave, in their order.
class RunOutput {
  public:
    RunOutput(const RunOptions& options, const std::vector<std::vector<Play>>& files,
              const Terminal& terminal)
        : options_(options), files_(files), terminal_(terminal) {
        const bool wantsReports =
            options.details || options.log || (options.trace && options.traceFile.empty());
        isSummary_ = !options.json && !wantsReports && files.size() > mostReports;
    }

    bool isSummary() const { return isSummary_; }
    bool printsText() const { return !options_.json && !isSummary_; }
    int status() const { return status_; }

    void take(const RunRecord& run) {
        status_ = std::max<int>(status_, complain(run));
        if (options_.json) fmt::print("{}\n", jsonText(run.report));
        runs_.push_back(run);
        ofFile_.push_back(run);
        const std::vector<Play>& plays = files_[file_];
        if (ofFile_.size() < plays.size()) return;
        if (printsText()) printReports(plays);
        ofFile_.clear();
        ++file_;
    }

    void finish() const {
        if (isSummary_) {
            terminal_.print(summary(runs_, terminal_.columns, terminal_.output));
        }
        if (!options_.junit.empty()) writeWholeFile(options_.junit, junitReport(runs_));
        if (!options_.traceFile.empty()) writeWholeFile(options_.traceFile, traces());
        if (!options_.html.empty()) writeWholeFile(options_.html, htmlReport(runs_));
    }

  private:
    std::string traces() const {
        std::string text;
        for (const RunRecord& run : runs_) {
            if (runs_.size() > 1) text += (text.empty() ? "" : "\n") + run.name + "\n";
            text += run.trace;
        }
        return text;
    }

    void printReports(const std::vector<Play>& plays) {
        const std::string text =
            plays[0].assumed ? textOf(ofFile_, plays, terminal_) : ofFile_[0].text;
        if (text.empty()) return;
        terminal_.print((isFirst_ ? "" : "\n") + text);
        isFirst_ = false;
    }

    const RunOptions& options_;
    const std::vector<std::vector<Play>>& files_;
    const Terminal& terminal_;
    bool isSummary_ = false;
    bool isFirst_ = true;
    int status_ = done;
    std::size_t file_ = 0;
    std::vector<RunRecord> ofFile_;
    std::vector<RunRecord> runs_;
};

}  // namespace

int runMacFiles(const RunOptions& options) {
    std::vector<std::vector<Play>> files;
    std::vector<Play> all;
    bool allGood = true;
    for (const MacFile& file : readMacFiles(options.files)) {
        if (file.error) {
            printMessages(*file.error);
            allGood = false;
            continue;
        }
        files.push_back(playsOf(file, options));
        all.insert(all.end(), files.back().begin(), files.back().end());
    }
    if (!allGood) return badInput;

    const Terminal terminal;
    RunOutput output(options, files, terminal);
    {
        const RunCount count(output.isSummary() && terminal.errorsLive, all.size());
        const PlayOptions playing = playOptions(options, output.printsText());
        playAll(
            all, playing, terminal,
            [&](const RunRecord& run) {
                count.erase();
                output.take(run);
            },
            [&](std::size_t over) { count.show(over); });
    }
    output.finish();
    return output.status();
}

}  // namespace displaycheck

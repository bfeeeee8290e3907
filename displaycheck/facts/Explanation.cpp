#include "displaycheck/facts/Explanation.h"

#include <algorithm>

#include "plugin/DDCCI/DDCCtl.h"
#include "plugin/Display/EDIDPairing.h"
#include "plugin/Platform/Text.h"
#include "plugin/WhiteList.h"
#include "simulated_mac/description/HexText.h"

namespace displaycheck {

namespace {

using simulated_mac::Bytes;
using simulated_mac::DDCAnswer;
using simulated_mac::Mac;
using simulated_mac::MonitorDescription;
using simulated_mac::TracedCall;

void explainPairing(Explanation& why, const Mac& mac, const displayInfo& display) {
    if (display.EDIDString) {
        why.paired = vorn::decodeEDID(*display.EDIDString);
        return;
    }
    const auto* const screen = mac.display(display.screenNumber);
    if (screen == nullptr) return;
    const std::string EDID = simulated_mac::hexText(screen->screen.monitor.edid);
    why.unpaired = vorn::decodeEDID(EDID);
    const vorn::MonitorKey key = {vorn::uppercaseText(display.name.value_or("")),
                                  display.serialNumber};
    why.unpairedFits = why.unpaired && vorn::fits(vorn::keyOf(*why.unpaired), key);
}

/// Whether the file says what comes back for a VCP code: it lists the code, or gives the reply's
/// bytes.
bool isGiven(const MonitorDescription& monitor, std::uint8_t code, const Bytes& reply) {
    return monitor.vcp.contains(code) ||
           std::any_of(monitor.answers.begin(), monitor.answers.end(), [&](const auto& answer) {
               return answer.kind == DDCAnswer::Kind::bytes && answer.bytes == reply;
           });
}

/// How far the answers that were read come from the Mac file.
void explainAnswer(Explanation& why, const Mac& mac, const std::vector<Try>& tries) {
    using Answering = MonitorDescription::Answering;
    for (const Try& attempt : tries) {
        const auto* const reached = mac.display(attempt.reached);
        if (reached == nullptr || attempt.request.empty()) continue;
        const MonitorDescription& monitor = reached->screen.monitor;
        if (monitor.answering == Answering::assumed) why.answerAssumed = true;
        const auto code = requestedCode(attempt.request);
        if (attempt.good && code && !isGiven(monitor, *code, attempt.reply)) {
            why.codeWithoutAnswer = code;
        }
    }
}

/// Only over AV services does the pane send clean requests: after each bad reply, so before a
/// further try, too.
bool lacksCleanRequest(const ModelFacts& model, const Reading& reading) {
    return DDC->UseArm64 && model.nearlySpecialChip &&
           (reading.tries.size() > 1 || reading.status == DDCCtl::badReply);
}

}  // namespace

Explanation explain(const Mac& mac, vorn::MyInstallerPane& pane, const displayInfo& display,
                    const std::vector<TracedCall>& trace) {
    Explanation why;
    const auto* const screen = mac.display(display.screenNumber);
    why.builtIn = screen != nullptr && screen->screen.builtIn;
    if (why.builtIn) return why;

    why.model = modelFacts(*whiteList, pane, display.name.value_or(""));
    explainPairing(why, mac, display);
    why.reading = lastReading(mac, display.screenNumber, trace);
    if (why.reading) {
        explainAnswer(why, mac, why.reading->tries);
        why.lacksCleanRequest = lacksCleanRequest(why.model, *why.reading);
    }
    if (why.model.listed || why.model.recent) why.fromMaker = vorn::isFromMaker(display);
    return why;
}

}  // namespace displaycheck

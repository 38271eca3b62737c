#include "OrvelCore/histories/IMEObservationHistory.h"
#include "OrvelCore/composers/DiagnosticSummary.h"

using namespace orvel;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

IMEObservation observation(const std::string& id, std::optional<IMEObservation::Focus> focus) {
    return {DiagnosticSummary::inputSource(InputSourceIdentity{id, "m", "t"}), std::move(focus)};
}

} // namespace

TEST(IMEObservationHistory, RecordsChangesOfState) {
    IMEObservationHistory history;
    EXPECT_EQ(history.report().text(), "No input method state has been recorded yet.");
    const IMEObservation::Focus unmarked{DiagnosticSummary::role("AXTextArea"), -25212, false};
    auto marked = unmarked;
    marked.result = 0;
    marked.hasMarkedValue = true;
    history.record(0, observation("a", unmarked));
    history.record(1, observation("a", unmarked));
    history.record(1.5, observation("a", marked));
    history.record(2, observation("b", marked));
    history.record(3, observation("b", {}));
    history.record(4, observation("b", {}));
    history.record(5, observation("a", unmarked));
    EXPECT_EQ(history.report().text(),
              "0ms / ID=a, mode=m, type=t / AXTextArea / Marked result=-25212 / Marked value=false\n"
              "1500ms / ID=a, mode=m, type=t / AXTextArea / Marked result=0 / Marked value=true\n"
              "2000ms / ID=b, mode=m, type=t / AXTextArea / Marked result=0 / Marked value=true\n"
              "3000ms / ID=b, mode=m, type=t / Another app is in the foreground (no AX read)\n"
              "5000ms / ID=a, mode=m, type=t / AXTextArea / Marked result=-25212 / Marked value=false");
}

TEST(IMEObservationHistory, KeepsTheNewest) {
    IMEObservationHistory history;
    for (int i = 0; i < 33; ++i) history.record(i, observation(std::to_string(i), {}));
    EXPECT_EQ(history.size(), 32U);
    EXPECT_THAT(history.report().text(), StartsWith("1000ms / ID=1,"));
    EXPECT_THAT(history.report().text(), HasSubstr("\n32000ms / ID=32,"));
}

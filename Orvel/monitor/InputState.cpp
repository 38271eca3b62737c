#include "Orvel/monitor/InputState.h"

#include "OrvelCore/composers/DiagnosticSummary.h"
#include "OrvelCore/japanese/JapaneseLineBreakSource.h"

namespace orvel {

namespace {

MarkedTextEvidence evidenceIn(const AXReading& reading) {
    switch (reading.status) {
    case AXStatus::success:
        return isNothing(reading.value) ? MarkedTextEvidence::absent : MarkedTextEvidence::marked;
    case AXStatus::noValue: return MarkedTextEvidence::absent;
    case AXStatus::attributeUnsupported: return MarkedTextEvidence::unsupported;
    default: return MarkedTextEvidence::unavailable;
    }
}

FixedWords nameOf(CompositionState state) {
    switch (state) {
    case CompositionState::clear: return "clear";
    case CompositionState::composing: return "composing";
    case CompositionState::unknown: break;
    }
    return "unknown";
}

} // namespace

CompositionReading readComposition(TimedReads& reads, DiagnosticFacts& facts, InputSources& sources,
                                   const AXElement& editor) {
    auto reading = reads.attribute(editor, "AXTextInputMarkedTextMarkerRange");
    CompositionReading composition;
    composition.evidence = evidenceIn(reading);
    const auto source = sources.current();
    const bool isASCII = isKnownASCII(source);
    composition.isToldByInputMethod = tellsComposition(source);
    composition.state = compositionState(composition.evidence, isASCII, composition.isToldByInputMethod);
    facts.addSurely(DiagnosticText::of("Input method: AX result={}, range={}, known ASCII={}, decision={}",
                                       numberOf(reading.status), description(composition.evidence), isASCII,
                                       nameOf(composition.state)));
    if (composition.isToldByInputMethod)
        facts.addSurely(FixedWords("Input method: tells itself whether text is unconfirmed"));
    if (composition.evidence == MarkedTextEvidence::marked) composition.marked = std::move(reading.value);
    return composition;
}

bool isKnownASCII(const std::optional<InputSource>& source) {
    return source && source->isASCIICapable &&
           KnownASCIISource::matches(source->id, source->type, *source->isASCIICapable);
}

bool tellsComposition(const std::optional<InputSource>& source) {
    return source && source->tellsComposition;
}

std::optional<std::string> knownJapaneseSourceID(const std::optional<InputSource>& source) {
    if (!source || !source->id || !source->mode || !source->type) return std::nullopt;
    const bool isKnown = JapaneseLineBreakSource::matches(*source->id, *source->mode, *source->type);
    return isKnown ? source->id : std::nullopt;
}

std::string inputModeWords(const std::optional<InputSource>& source) {
    if (isKnownASCII(source))
        return "ASCII input: Activation is possible even when the composition range cannot be read.";
    if (tellsComposition(source))
        return "This input method tells whether text is unconfirmed: during composition the original Return "
               "confirms it, and the next one activates. ⌘Return stops during composition; confirm and try "
               "again. Where it does not tell, a recognized /orvel command stops without normal sending.";
    if (knownJapaneseSourceID(source))
        return "Google Japanese Input (Hiragana): Supported Codex versions check the candidate window "
               "immediately before acting. During composition, the original Return confirms it. Activation "
               "requires closed candidates and verified editor, content, and input state. Return is not "
               "changed to Shift+Return. ⌘Return stops during composition; confirm and try again. Unknown "
               "states also stop without normal sending.";
    return "This input method is unverified. A recognized /orvel command stops without normal sending if "
           "composition confirmation cannot be verified.";
}

DiagnosticText describeInputSource(const std::optional<InputSource>& source) {
    if (!source) return DiagnosticSummary::inputSource(std::nullopt);
    return DiagnosticSummary::inputSource(InputSourceIdentity{source->id, source->mode, source->type});
}

} // namespace orvel

// The shape of an application's tree: what it tells, and that nothing which an application says is ever in
// it.

#include "Orvel/cli/TreeShape.h"

#include "Orvel/cli/ApplicationTree.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/platform/unavailable/UnavailableUserInterfaces.h"
#include "cli/CommandLineRun.h"

#include <map>

using namespace orvel;
using testing::HasSubstr;
using testing::Not;

namespace {

struct Name : AXIdentity {
    explicit Name(std::string text) : text(std::move(text)) {}
    bool equals(const AXIdentity& other) const override {
        return static_cast<const Name&>(other).text == text;
    }
    const std::string text;
};

AXElement element(const std::string& name) {
    return AXElement(std::make_shared<Name>(name));
}

AXElements elements(std::initializer_list<const char*> names) {
    AXElements list;
    for (const auto* name : names) list.push_back(element(name));
    return list;
}

// An application whose elements are named, and have whatever `tell` gives.
struct ToldTree : UnavailableAccessibility {
    using Tell = std::function<AXReading(const std::string& element, std::string_view attribute)>;

    explicit ToldTree(Tell tell) : tell(std::move(tell)) {}
    void setMessagingTimeout(const AXElement& element, std::chrono::milliseconds timeout) override {
        isBounded[nameOf(element)] = timeout.count() > 0;
    }
    AXReading attribute(const AXElement& element, std::string_view name) override {
        EXPECT_TRUE(isBounded[nameOf(element)]);
        return tell(nameOf(element), name);
    }
    static const std::string& nameOf(const AXElement& element) {
        return static_cast<const Name&>(element.identity()).text;
    }
    TreeShape shape(TreeShapeLimits limits = {}) {
        SimulatedLoop loop;
        TreeShape shape;
        TaskScope scope;
        scope.start(keep(loop, limits, shape));
        loop.runFor(std::chrono::minutes(1));
        return shape;
    }
    Task<void> keep(MainLoop& loop, TreeShapeLimits limits, TreeShape& kept) {
        auto reading = shapeOf(loop, *this, element("root"), limits);
        kept = co_await reading;
    }

    Tell tell;
    std::map<std::string, bool> isBounded;
};

} // namespace

TEST(TreeShape, TellsKindsAndStructure) {
    const std::map<std::string, std::map<std::string, AXValue, std::less<>>> tree{
        {"root",
         {{"AXRole", "AXWindow"},
          {"AXSubrole", "AXStandardWindow"},
          {"AXChildren", elements({"editor", "gone"})}}},
        {"editor",
         {{"AXRole", "AXTextArea"},
          {"AXValue", "words"},
          {"AXTitle", ""},
          {"AXEnabled", true},
          {"AXSelectedTextRange", AXRange{3, 4}},
          {"AXDOMClassList", std::vector<std::string>{"composer", "ProseMirror"}}}},
    };
    ToldTree told([&](const std::string& element, std::string_view name) -> AXReading {
        if (element == "gone") return {AXStatus::invalidElement, {}};
        const auto& has = tree.at(element);
        const auto found = has.find(name);
        return found == has.end() ? AXReading{AXStatus::noValue, {}}
                                  : AXReading{AXStatus::success, found->second};
    });
    EXPECT_EQ(linesOf(told.shape()), "AXWindow/AXStandardWindow 2\n"
                                     " AXTextArea  DOMClassList texts, Value text, Title empty text, Enabled "
                                     "true, SelectedTextRange range, "
                                     ".ProseMirror\n"
                                     " none  (-25202)\n"
                                     "3 elements.\n");
}

TEST(TreeShape, HoldsNothingThatAnApplicationSays) {
    const std::pair<const char*, AXValue> values[] = {
        {"a text", "AXSECRET"},
        {"an address", AXURL{"https://SECRET/"}},
        {"texts", std::vector<std::string>{"SECRET", "ProseMirror SECRET"}},
        {"a number", 4711.0},
        {"a place", AXPoint{4711, 4711}},
        {"a size", AXSize{4711, 4711}},
        {"a range", AXRange{4711, 4711}},
    };
    for (const auto& [what, value] : values) {
        ToldTree told([&](const std::string& element, std::string_view name) -> AXReading {
            if (name == "AXChildren")
                return {AXStatus::success, element == "root" ? elements({"SECRET", "4711"}) : AXElements()};
            return {AXStatus::success, value};
        });
        const auto shape = told.shape();
        ASSERT_EQ(shape.elements.size(), 3U);
        for (const auto& text : {linesOf(shape), jsonOf(shape)}) {
            EXPECT_THAT(text, Not(HasSubstr("SECRET"))) << what;
            EXPECT_THAT(text, Not(HasSubstr("4711"))) << what;
        }
    }
}

TEST(TreeShape, EndsInATreeWithoutEnd) {
    ToldTree deep([](const std::string&, std::string_view name) -> AXReading {
        if (name == "AXChildren") return {AXStatus::success, elements({"same"})};
        return {AXStatus::noValue, {}};
    });
    const auto cut = deep.shape({.elements = 50, .depth = 20});
    EXPECT_TRUE(cut.isCut);
    EXPECT_EQ(cut.elements.size(), 21U);

    ToldTree wide([](const std::string&, std::string_view name) -> AXReading {
        if (name == "AXChildren") return {AXStatus::success, elements({"a", "b", "c"})};
        return {AXStatus::noValue, {}};
    });
    EXPECT_LE(wide.shape({.elements = 50}).elements.size(), 50U);
    EXPECT_TRUE(wide.shape({.elements = 50}).isCut);
}

class ApplicationTree : public CommandLine {};

TEST_F(ApplicationTree, OfTheSampleIsWithoutItsConversations) {
    const auto result = run({"--sample", "doctor", "--tree", "claude"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("AXApplication"));
    EXPECT_THAT(result.out, HasSubstr("AXTextArea"));
    EXPECT_THAT(result.out, Not(HasSubstr("claude")));
    EXPECT_EQ(run({"doctor", "--tree", "else"}).status, 2);
}

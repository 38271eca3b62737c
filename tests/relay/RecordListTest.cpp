#include "OrvelCore/relay/RecordList.h"

namespace orvel {
namespace {

struct Note {
    std::string id;
    Shared<std::string> text;
    bool operator==(const Note&) const = default;
};

std::vector<Note> notes(int count) {
    std::vector<Note> made;
    for (int i = 0; i < count; ++i) made.push_back({std::to_string(i), "text " + std::to_string(i)});
    return made;
}

// Sizes around the boundaries of the parts in which a list is shared.
TEST(RecordList, holdsTheSameHoweverItWasBuilt) {
    for (const int count : {0, 1, 63, 64, 65, 128, 129, 1000}) {
        const auto source = notes(count);
        RecordList<Note> appended;
        for (const auto& note : source) appended.append(note);
        const RecordList<Note> whole(source);
        EXPECT_EQ(std::vector<Note>(appended.begin(), appended.end()), source) << count;
        EXPECT_EQ(appended, whole) << count;
        EXPECT_EQ(whole.size(), source.size());
    }
}

TEST(RecordList, changingACopyLeavesTheOriginalAndSharesTheRest) {
    const RecordList<Note> original(notes(200));
    for (const std::string id : {"0", "63", "64", "199"}) {
        auto copy = original;
        copy.change(id, [](Note& note) { note.text = "changed"; });
        EXPECT_NE(copy, original);
        EXPECT_EQ(*copy.find(id)->text, "changed");
        EXPECT_EQ(*original.find(id)->text, "text " + id);
        EXPECT_EQ(copy.find("100"), original.find("100")) << "the very same record";
        copy.change(id, [&](Note& note) { note.text = "text " + id; });
        EXPECT_EQ(copy, original);
    }
    auto copy = original;
    copy.change("none", [](Note& note) { note.text = "changed"; });
    EXPECT_EQ(copy, original);
    EXPECT_EQ(original.find("none"), nullptr);
}

TEST(RecordList, keepsOrderWhenFiltered) {
    const RecordList<Note> list(notes(150));
    const auto some = list.where([](const Note& note) { return note.id.ends_with('7'); });
    ASSERT_EQ(some.size(), 15u);
    EXPECT_EQ(some[0].id, "7");
    EXPECT_EQ(some.back().id, "147");
}

} // namespace
} // namespace orvel

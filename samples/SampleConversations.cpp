#include "samples/SampleConversations.h"

#include <array>
#include <utility>

#include <fmt/format.h>

namespace orvel {

namespace {

SampleStep ask(std::string text) {
    return {SampleStep::Kind::ask, std::move(text), {}};
}

SampleStep comment(std::string text) {
    return {SampleStep::Kind::comment, std::move(text), {}};
}

SampleStep command(std::string text, std::string output) {
    return {SampleStep::Kind::command, std::move(text), std::move(output)};
}

SampleStep answer(std::string text) {
    return {SampleStep::Kind::answer, std::move(text), {}};
}

SampleConversation flakyTest() {
    return {
        Agent::claude,
        "Flaky upload test",
        "/home/robin/code/tern",
        2,
        {ask("upload_resumes_after_disconnect fails about once in thirty runs on CI and never on my machine. "
             "Please find out why before you change anything."),
         comment("I'll run it in a loop under load first, to get a failure here."),
         command("cargo test upload_resumes -- --test-threads=8 # 200 times",
                 "194 passed; 6 failed\n  left: Offset(65536)\n right: Offset(131072)"),
         answer(
             "Reproduced: 6 of 200 runs fail under load, always one chunk short (65536 instead of "
             "131072).\n\n"
             "The test drops the connection right after the second chunk is *sent*. The server stores the "
             "offset when a chunk is *written*. If the drop wins that race, the resume offset is one chunk "
             "behind, which is correct behaviour. So the test is wrong, not the upload."),
         ask("Good. Make the test wait for the right thing then. No sleeps please."),
         comment(
             "The store already has a watch channel for the committed offset. I'll let the test wait on that "
             "before it drops the connection."),
         command("cargo test upload_resumes -- --test-threads=8 # 200 times", "87 passed so far")}};
}

SampleConversation parserRewrite() {
    return {
        Agent::codex,
        "Rewrite the expression parser",
        "/home/robin/code/lark",
        24,
        {ask("The expression parser in src/parse/expr.cpp is 900 lines of mutual recursion with one function "
             "for "
             "each precedence level. I'd like a Pratt parser with one table. Tests must stay green at every "
             "step."),
         command("wc -l src/parse/expr.cpp && ctest --test-dir build -R parse",
                 "912 src/parse/expr.cpp\n100% tests passed, 0 tests failed out of 148"),
         comment("148 parser tests are green to begin with. I'll put the table beside the old code and let "
                 "both run "
                 "on every test until they agree."),
         answer(
             "Step 1 is in: `expr_table.cpp` holds 23 operators with their binding powers, and a debug build "
             "parses every expression twice and compares the trees.\n\n"
             "They differ in one place: `-2 ** 2`. The old parser gives `(-2) ** 2`, the table gives "
             "`-(2 ** 2)`. The language reference says the latter. Which one do you want to keep?"),
         ask("The reference wins, but people may rely on it. Can we warn?"),
         comment("Yes: the parser knows when a unary minus binds weaker than the operator that follows."),
         command("ctest --test-dir build -R parse", "100% tests passed, 0 tests failed out of 151"),
         answer(
             "Done. `-2 ** 2` now means `-(2 ** 2)`, and the parser warns:\n\n"
             "    main.lark:4:9: warning: '-2 ** 2' reads as '-(2 ** 2)' since 2.4; write '(-2) ** 2' if you "
             "meant that\n\n"
             "Three new tests cover the warning, its position and that parentheses silence it."),
         ask("Remove the old code and tell me what changed in size and speed."),
         command("git diff --stat main && ./build/bench parse",
                 "src/parse/expr.cpp | 912 +------\nparse/large.lark   41.2 ms -> 29.8 ms"),
         answer(
             "`expr.cpp` shrank from 912 to 264 lines, and the table adds 61. Parsing the large sample went "
             "from 41.2 ms to 29.8 ms (median of 20 runs); memory is unchanged.\n\n"
             "What I did not touch: error recovery after a missing operand. It still skips to the next "
             "semicolon. Somebody should review the binding powers of `??` and `?:` once more, they have the "
             "fewest tests.")}};
}

SampleConversation parserReview() {
    return {
        Agent::claude,
        "Review of the parser rewrite",
        "/home/robin/code/lark",
        41,
        {ask("Please review the branch pratt-parser against main. Look for behaviour that changed without a "
             "test."),
         command(
             "git log --oneline main..pratt-parser",
             "7c1d0be Remove the recursive parser\n41aa3f9 Warn about unary minus before **\n90e2b17 Add the "
             "operator table"),
         comment("I'll read the table first, then look for operators that no test combines."),
         answer("The rewrite is sound. Two findings:\n\n"
                "1. `a ?? b ?: c` used to be a syntax error and now parses as `(a ?? b) ?: c`. No test "
                "covers it. "
                "Either forbid the mix or write the test.\n"
                "2. `parse_operand` returns a null node at the end of the file, and `fold_constants` "
                "dereferences "
                "it. `let x = 1 +` crashes a release build.\n\n"
                "The second one must be fixed before the merge. The rest is style: `kBindingPower[op].left` "
                "appears eleven times and deserves a name."),
         ask("Is number 2 new, or did the old parser have it as well?"),
         command("git stash && ./build/lark -e 'let x = 1 +'", "error: 1:12: expected an expression"),
         answer("It is new. The old parser reported \"expected an expression\" at 1:12 and never built the "
                "node. "
                "The shortest fix is to report the same error in `parse_operand` and return an error node, "
                "which "
                "`fold_constants` already knows how to skip.")}};
}

SampleConversation fullWidthSearch() {
    return {Agent::claude,
            "検索での全角と半角の扱い",
            "/home/robin/code/tern",
            190,
            {ask("検索窓に「ｶﾀｶﾅ」と半角で入れると、全角の「カタカナ」がヒットしません。"
                 "原因を調べてください。"),
             command("rg -n 'normalize' src/search", "src/search/query.rs:42:    text.nfc().collect()"),
             answer("原因は正規化の形式です。索引を作るときは NFKC、検索語には NFC を使っています。"
                    "NFC では半角カナは全角に変わらないため、両者が一致しません。\n\n"
                    "`src/search/query.rs` の 42 行目を NFKC に揃えれば解決します。"
                    "索引の作り直しは不要です。"),
             ask("濁点が分かれている「ｶﾞ」のような場合も大丈夫ですか。"),
             command("cargo test search::width", "test result: ok. 12 passed; 0 failed"),
             answer("はい。NFKC は「ｶﾞ」（2 文字）を「ガ」（1 文字）に合成します。"
                    "半角カナ、濁点と半濁点、全角英数字の 12 例をテストに加え、"
                    "すべて通りました。")}};
}

SampleConversation indexCorruption() {
    return {
        Agent::codex,
        "Index corruption after power loss",
        "/home/robin/code/tern",
        26 * 60,
        {ask("After a power cut two users report \"segment 17: bad checksum\" at start. The data is in the "
             "log, so "
             "we should be able to rebuild. How can the segment be bad when we fsync it?"),
         command("rg -n 'sync_all|rename' src/segment",
                 "src/segment/writer.rs:118:    file.sync_all()?;\nsrc/segment/writer.rs:121:    "
                 "fs::rename(&tmp, "
                 "&path)?;"),
         comment("The file is synced before the rename, but its folder is not synced after it."),
         answer(
             "We fsync the *file*, rename it into place, and then truncate the log. The *folder* is never "
             "synced. After a power cut the log may be truncated on disk while the rename is not, so the old "
             "segment 17 is read against the new footer: \"bad checksum\".\n\n"
             "Fix: open the folder and sync it between the rename and the truncation. It costs one more sync "
             "for each segment, 4 ms on this disk."),
         ask("Do that. And can those two users get their data back?"),
         command("cargo test segment:: && cargo run --example crash_at_every_write",
                 "test result: ok. 31 passed\n412 crash points, 412 recovered"),
         answer(
             "Yes, as long as they have not compacted since. `tern repair --segment 17` now rebuilds a "
             "segment "
             "from the log and the previous footer. The new example cuts the power at each of the 412 writes "
             "of a session and recovers every time; before the fix it failed at 3 of them.\n\n"
             "They should stop the service, copy the folder, then run the repair.")}};
}

SampleConversation releaseNotes() {
    return {
        Agent::claude,
        "Release notes for Lark 2.4",
        "/home/robin/code/lark",
        2 * 24 * 60,
        {ask("Write release notes for 2.4 from the commits since v2.3. Users are people who write "
             "configuration, "
             "not parser authors. Keep it under a page."),
         command("git log --oneline v2.3..HEAD | wc -l", "63"),
         comment("63 commits, 40 of them internal. I'll group what a user can notice."),
         answer(
             "# Lark 2.4\n\n"
             "**Parsing takes a quarter less time**, and error messages point at the operator that caused "
             "them.\n\n"
             "**Please check:** `-2 ** 2` now follows the reference and means `-(2 ** 2)`. Lark warns "
             "wherever "
             "your files depend on the old reading.\n\n"
             "New: `include?` skips a missing file. `lark fmt --check` exits with 1 and prints nothing "
             "else.\n\n"
             "Fixed: a trailing comma in an empty list, dates before 1970, and a crash on files that end in "
             "the middle of an expression."),
         ask("Say how to find the affected places without running everything."),
         answer("Added under *Please check*:\n\n"
                "    lark check --only unary-power **/*.lark\n\n"
                "It parses without evaluating, and prints one line for each place.")}};
}

SampleConversation buildMigration() {
    return {
        Agent::codex,
        "",
        "/home/robin/code/heron",
        3 * 24 * 60 + 200,
        {ask("Let's move heron from hand-written makefiles to CMake. Four libraries, two programs, generated "
             "protocol files. Start with an inventory."),
         command("ls */Makefile | wc -l && rg -c 'CFLAGS' --glob Makefile",
                 "9\ncodec/Makefile:6\nnet/Makefile:11\nui/Makefile:4"),
         answer("Nine makefiles. Three things need care:\n\n"
                "1. `codec` is compiled twice, with and without `-DNO_SIMD`, and both go into one archive.\n"
                "2. The protocol files are generated into the *source* folder and are in .gitignore.\n"
                "3. `net` links `codec` before `base`, and the order matters for two weak symbols.\n\n"
                "I suggest `base` and `codec` first, generated files into the build folder, and the weak "
                "symbols "
                "replaced by a function pointer."),
         ask("Agreed. Do base and codec, keep the makefiles working meanwhile."),
         command("cmake --preset dev && cmake --build --preset dev && make -j2 check",
                 "[37/37] Linking CXX executable codec_test\nall 212 checks passed"),
         answer(
             "Both build with CMake and with make, and the 212 checks pass in each. A clean build takes 21 s "
             "where it took 48 s, mostly because `codec` no longer compiles its tables twice. Next would be "
             "`net` with the function pointer.")}};
}

// A long one: the same kind of work for file after file, as such sessions go.
SampleConversation clientPort() {
    static constexpr std::array<const char*, 32> files{
        "accounts", "alerts",  "archive", "audit",    "badges",  "billing", "cache",    "calendar",
        "contacts", "devices", "drafts",  "exports",  "filters", "folders", "groups",   "imports",
        "invites",  "labels",  "metrics", "notes",    "orders",  "plans",   "profiles", "quotas",
        "receipts", "reports", "search",  "sessions", "tickets", "uploads", "votes",    "webhooks"};
    static constexpr std::array<const char*, 4> causes{
        "It held a lock across the request, so I narrowed the lock to the map update.",
        "It retried forever; it now gives up after three attempts with growing pauses.",
        "It read the whole body before it looked at the status; that is reversed now.",
        "It built a new client for every call; all calls share one now."};
    static constexpr std::array<const char*, 4> doubts{"the timeout", "cancellation", "paging",
                                                       "the error texts"};
    static constexpr std::array<const char*, 4> verdicts{
        "The old client had none and relied on the caller. I set 30 seconds, as in the other files, and a "
        "test "
        "covers it.",
        "Dropping the future closes the connection. A test drops it after the first byte and checks that the "
        "pool "
        "is not poisoned.",
        "Unchanged: the cursor goes through untouched, and the recorded responses of all pages replay the "
        "same.",
        "They are the same words as before except for the prefix `client:`, which nothing matches on."};

    SampleConversation conversation{Agent::codex,
                                    "Port every handler to the async client",
                                    "/home/robin/code/heron",
                                    5 * 24 * 60 + 77,
                                    {}};
    auto& steps = conversation.steps;
    steps.push_back(
        ask("We have 32 handlers on the blocking client. Port them one by one, a commit for each, and "
            "tell me for each what you had to change beyond the calls. First say how you'd go about "
            "it."));
    steps.push_back(answer(
        "One handler at a time, in alphabetical order: port the calls, run its tests against the recorded "
        "responses, then commit. I'll stop whenever a test needs to change, since that would be a change "
        "of behaviour."));
    for (std::size_t i = 0; i < files.size(); ++i) {
        const std::string file = files[i];
        const auto calls = 3 + i * 7 % 11;
        const auto tests = 9 + i * 5 % 17;
        steps.push_back(ask((i == 0 ? "Fine, begin with " : "Next: ") + file + "."));
        steps.push_back(command("cargo test handlers::" + file,
                                fmt::format("test result: ok. {} passed; 0 failed", tests)));
        steps.push_back(
            answer(fmt::format("`handlers/{}.rs` is ported: {} calls. {} Its {} tests pass unchanged.", file,
                               calls, causes[i % 4], tests)));
        steps.push_back(ask(fmt::format("What about {} there?", doubts[i / 2 % 4])));
        steps.push_back(answer(verdicts[i / 2 % 4]));
        if (i % 2 == 0) {
            steps.push_back(
                ask(fmt::format("Show me the smallest diff that a reviewer has to read for {}.", file)));
            steps.push_back(
                answer(fmt::format("    -    let reply = client.get(&url)?;\n"
                                   "    +    let reply = client.get(&url).await?;\n\n"
                                   "in {} places, and the signature of `{}::handle`, which is async now.",
                                   calls, file)));
        } else {
            steps.push_back(ask("Which commit message did you write?"));
            steps.push_back(
                answer(fmt::format("`Port {} to the async client`, and in its body the one change beyond "
                                   "the calls, with the name of the test that shows it.",
                                   file)));
        }
    }
    steps.push_back(ask("All done? Numbers please."));
    steps.push_back(command("cargo test --workspace && ./bench.sh",
                            "test result: ok. 411 passed; 0 failed\np99 184 ms -> 61 ms"));
    steps.push_back(
        answer("All 32 handlers are ported in 32 commits. 411 tests pass, none was changed. Under the "
               "load test the 99th percentile fell from 184 ms to 61 ms, and threads from 320 to 12. "
               "The blocking client has no users left and can be removed."));
    return conversation;
}

} // namespace

std::vector<SampleConversation> sampleConversations() {
    return {flakyTest(),       parserRewrite(), parserReview(),   fullWidthSearch(),
            indexCorruption(), releaseNotes(),  buildMigration(), clientPort()};
}

} // namespace orvel

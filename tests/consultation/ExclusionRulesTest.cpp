#include "OrvelCore/consultation/ExclusionRules.h"

#include <optional>
#include <string>

namespace orvel {
namespace {

std::optional<std::string> ruleFor(const std::string& path) {
    const auto* rule = exclusionRule(path);
    return rule ? std::optional(describe(*rule)) : std::nullopt;
}

TEST(ExclusionRulesTest, EveryComponentCountsInLowerCase) {
    struct Case {
        std::string path;
        std::optional<std::string> rule;
    };
    const Case cases[] = {
        {"a/.git/config", "its name is “.git”"},
        {".gitignore", {}},
        {"x/.DS_Store", "its name is “.ds_store”"},
        {"__MACOSX/x", "its name is “__macosx”"},
        {".env", "its name is “.env”"},
        {".env.local", "its name begins with “.env.”"},
        {".environment", {}},
        {"a.env", {}},
        {"home/.ssh/config", "its name is “.ssh”"},
        {".aws/x", "its name is “.aws”"},
        {".GnuPG/x", "its name is “.gnupg”"},
        {"id_rsa", "its name is “id_rsa”"},
        {"id_rsa.pub", {}},
        {"id_dsa", "its name is “id_dsa”"},
        {"ID_ECDSA", "its name is “id_ecdsa”"},
        {"id_ed25519", "its name is “id_ed25519”"},
        {"credentials", "its name is “credentials”"},
        {"credentials.json", "its name is “credentials.json”"},
        {"credentials.txt", {}},
        {"secrets.json/a.txt", "its name is “secrets.json”"},
        {".npmrc", "its name is “.npmrc”"},
        {".netrc", "its name is “.netrc”"},
        {".pypirc", "its name is “.pypirc”"},
        {"a/._x", "its name begins with “._”"},
        {"._", "its name begins with “._”"},
        {"_x", {}},
        {"config.PEM", "its name ends in “.pem”"},
        {"config.pem.txt", {}},
        {"certificates.key/a/b.txt", "its name ends in “.key”"},
        {"x.\u212Aey", "its name ends in “.key”"}, // The sign of the kelvin is a capital K.
        {"x.p12", "its name ends in “.p12”"},
        {"x.pfx", "its name ends in “.pfx”"},
        {"x.keystore", "its name ends in “.keystore”"},
        {"monkey", {}},
        {"a//b/", {}},
        {"", {}},
    };
    for (const auto& each : cases) EXPECT_EQ(ruleFor(each.path), each.rule) << each.path;
}

} // namespace
} // namespace orvel

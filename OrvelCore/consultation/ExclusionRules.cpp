#include "OrvelCore/consultation/ExclusionRules.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>

namespace orvel {

namespace {

using enum ExclusionRule::Match;

constexpr std::array<ExclusionRule, 24> rules{{
    {equals, ".git"},
    {equals, ".ds_store"},
    {equals, "__macosx"},
    {equals, ".env"},
    {equals, ".ssh"},
    {equals, ".aws"},
    {equals, ".gnupg"},
    {equals, "id_rsa"},
    {equals, "id_dsa"},
    {equals, "id_ecdsa"},
    {equals, "id_ed25519"},
    {equals, "credentials"},
    {equals, "credentials.json"},
    {equals, "secrets.json"},
    {equals, ".npmrc"},
    {equals, ".netrc"},
    {equals, ".pypirc"},
    {begins, "._"},
    {begins, ".env."},
    {ends, ".pem"},
    {ends, ".key"},
    {ends, ".p12"},
    {ends, ".pfx"},
    {ends, ".keystore"},
}};

bool matches(const ExclusionRule& rule, std::string_view component) {
    switch (rule.match) {
    case equals: return component == rule.text;
    case begins: return component.starts_with(rule.text);
    case ends: return component.ends_with(rule.text);
    }
    return false;
}

} // namespace

const ExclusionRule* exclusionRule(std::string_view path) {
    const auto lowered = inLowerCase(path);
    for (std::string_view rest = lowered;;) {
        const auto component = rest.substr(0, rest.find('/'));
        const auto* rule =
            std::ranges::find_if(rules, [&](const ExclusionRule& each) { return matches(each, component); });
        if (rule != rules.end()) return rule;
        if (component.size() == rest.size()) return nullptr;
        rest.remove_prefix(component.size() + 1);
    }
}

std::string describe(const ExclusionRule& rule) {
    const std::string_view verb = rule.match == equals   ? "is"
                                  : rule.match == begins ? "begins with"
                                                         : "ends in";
    return std::string("its name ").append(verb).append(" “").append(rule.text).append("”");
}

} // namespace orvel

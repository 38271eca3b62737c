#include "bench/ConversationFloors.h"

#include <array>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <fcntl.h>
#include <openssl/evp.h>
#include <simdjson.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orvel::bench {

namespace {

class Descriptor {
  public:
    explicit Descriptor(const std::string& path) : number(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (number < 0) throw std::runtime_error("cannot open " + path);
    }
    ~Descriptor() { close(number); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    std::size_t read(char* buffer, std::size_t count) const {
        std::size_t done = 0;
        while (done < count) {
            const auto got = ::read(number, buffer + done, count - done);
            if (got <= 0) break;
            done += static_cast<std::size_t>(got);
        }
        return done;
    }

    std::size_t size() const {
        struct stat facts {};
        fstat(number, &facts);
        return static_cast<std::size_t>(facts.st_size);
    }

  private:
    friend class Mapping;

    int number;
};

// A whole file in memory, without a copy of it.
class Mapping {
  public:
    explicit Mapping(const std::string& path) {
        const Descriptor file(path);
        size = file.size();
#ifdef MAP_POPULATE
        constexpr int flags = MAP_PRIVATE | MAP_POPULATE;
#else
        constexpr int flags = MAP_PRIVATE;
#endif
        bytes = mmap(nullptr, size, PROT_READ, flags, file.number, 0);
        if (bytes == MAP_FAILED) throw std::runtime_error("cannot map " + path);
    }
    ~Mapping() {
        munmap(bytes, size);
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    std::string_view view() const {
        return {static_cast<const char*>(bytes), size};
    }

  private:
    void* bytes;
    std::size_t size;
};

class Hasher {
  public:
    void hash(std::string_view role, std::string_view text) {
        EVP_DigestInit_ex2(context.get(), algorithm, nullptr);
        EVP_DigestUpdate(context.get(), role.data(), role.size());
        EVP_DigestUpdate(context.get(), "\n", 1);
        EVP_DigestUpdate(context.get(), text.data(), text.size());
        EVP_DigestFinal_ex(context.get(), digest.data(), nullptr);
        ++digests.count;
    }

    MessageDigests finish() {
        for (const auto byte : digest) {
            digests.last += "0123456789abcdef"[byte >> 4];
            digests.last += "0123456789abcdef"[byte & 15];
        }
        return digests;
    }

  private:
    EVP_MD* algorithm = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
    std::array<unsigned char, 32> digest{};
    MessageDigests digests;
};

using simdjson::dom::element;

std::string_view stringAt(const element& value, std::string_view key) {
    std::string_view text;
    return value[key].get(text) == simdjson::SUCCESS ? text : std::string_view();
}

void hashMessage(const element& message, std::string_view role, Hasher& hasher) {
    std::string_view text;
    if (message["content"].get(text) == simdjson::SUCCESS) return hasher.hash(role, text);
    simdjson::dom::array items;
    if (message["content"].get(items) != simdjson::SUCCESS) return;
    for (const auto item : items) {
        const auto piece = stringAt(item, "text");
        if (!piece.empty()) hasher.hash(role, piece);
    }
}

void takeCodex(const element& record, Hasher& hasher) {
    element payload;
    if (stringAt(record, "type") != "response_item" || record["payload"].get(payload)) return;
    const auto role = stringAt(payload, "role");
    if (role != "user" && role != "assistant") return;
    element kinds;
    const bool isScaffolding =
        payload["internal_chat_message_metadata_passthrough"]["content_item_kinds"].at(0).get(kinds) ==
            simdjson::SUCCESS &&
        std::string_view(kinds) == "agents_md.instructions";
    if (!isScaffolding) hashMessage(payload, role, hasher);
}

void takeClaude(const element& record, Hasher& hasher) {
    element message;
    const auto type = stringAt(record, "type");
    if ((type != "user" && type != "assistant") || record["message"].get(message)) return;
    hashMessage(message, type, hasher);
}

} // namespace

MessageDigests readFloor(const std::string& path, Agent agent) {
    const Mapping file(path);
    const auto text = file.view();
    if (!simdjson::validate_utf8(text.data(), text.size())) throw std::runtime_error("not UTF-8");

    simdjson::dom::parser parser;
    Hasher hasher;
    for (const char *at = text.data(), *end = at + text.size(); at < end;) {
        const auto* feed =
            static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
        const auto* lineEnd = feed ? feed : end;
        const auto behind = static_cast<std::size_t>(end - lineEnd);
        const auto record =
            parser.parse(at, static_cast<std::size_t>(lineEnd - at), behind < simdjson::SIMDJSON_PADDING)
                .value();
        if (agent == Agent::codex)
            takeCodex(record, hasher);
        else
            takeClaude(record, hasher);
        at = lineEnd + 1;
    }
    return hasher.finish();
}

std::size_t openFloor(const std::vector<std::string>& paths) {
    constexpr std::size_t headSize = 65'536;
    const auto buffer = std::make_unique_for_overwrite<char[]>(headSize);
    std::size_t total = 0;
    for (const auto& path : paths) total += Descriptor(path).read(buffer.get(), headSize);
    return total;
}

} // namespace orvel::bench

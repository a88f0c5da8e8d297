#include "platform/linux/linux_block_probe.hpp"

#include <blkid.h>

#include <string>

#include "platform/linux/whole_file.hpp"

namespace platform {

namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// udev writes unsafe bytes of the *_ENC properties as \xNN.
std::string decoded(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x') {
            const int high = hexDigit(text[i + 2]);
            const int low = hexDigit(text[i + 3]);
            if (high >= 0 && low >= 0) {
                out += static_cast<char>(high * 16 + low);
                i += 3;
                continue;
            }
        }
        out += text[i];
    }
    return out;
}

// GPT type GUIDs in capitals, MBR types as "0xfd": one spelling whichever source spoke.
std::string partitionTypeText(std::string_view raw) {
    std::string out(raw);
    const bool mbr = out.size() > 2 && out[0] == '0' && (out[1] == 'x' || out[1] == 'X');
    for (auto& c : out) {
        if (mbr && c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
        if (!mbr && c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    }
    return out;
}

std::optional<std::string> nonEmpty(std::string text) {
    if (text.empty()) return std::nullopt;
    return text;
}

class Probe {
  public:
    explicit Probe(const std::filesystem::path& path)
        : probe_(blkid_new_probe_from_filename(path.c_str())) {}
    ~Probe() {
        if (probe_ != nullptr) blkid_free_probe(probe_);
    }
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    blkid_probe get() const { return probe_; }

    std::optional<std::string> value(const char* name) const {
        const char* data = nullptr;
        std::size_t length = 0;
        if (blkid_probe_lookup_value(probe_, name, &data, &length) != 0 || data == nullptr) {
            return std::nullopt;
        }
        // The length counts the closing NUL.
        std::string text(data, length > 0 ? length - 1 : 0);
        return nonEmpty(std::string(text.c_str()));
    }

  private:
    blkid_probe probe_;
};

}  // namespace

LinuxBlockProbe::LinuxBlockProbe(std::filesystem::path root) : root_(std::move(root)) {}

BlockContent LinuxBlockProbe::probe(std::string_view name, unsigned major, unsigned minor) const {
    // Built by appending: GCC 12 at -O3 warns falsely (-Wrestrict) on "b" + std::to_string().
    std::string key = "b";
    key += std::to_string(major);
    key += ':';
    key += std::to_string(minor);
    const auto record = root_ / "run/udev/data" / key;
    if (const auto text = readWholeFile(record.string())) {
        if (auto content = fromUdevRecord(*text)) return *content;
    }
    if (name.empty() || name.find('/') != std::string_view::npos || name == "." || name == "..") {
        return {};
    }
    return probeFile(root_ / "dev" / std::string(name));
}

std::optional<BlockContent> LinuxBlockProbe::fromUdevRecord(std::string_view text) {
    BlockContent content;
    std::optional<std::string> plainLabel;
    bool any = false;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string_view line = text.substr(start, end - start);
        start = end + 1;
        if (!line.starts_with("E:")) continue;
        any = true;
        const auto equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        const std::string_view key = line.substr(2, equals - 2);
        const std::string_view value = line.substr(equals + 1);
        if (key == "ID_FS_TYPE") {
            content.type = nonEmpty(std::string(value));
        } else if (key == "ID_FS_USAGE") {
            content.usage = nonEmpty(std::string(value));
        } else if (key == "ID_FS_LABEL_ENC") {
            content.label = nonEmpty(decoded(value));
        } else if (key == "ID_FS_LABEL") {
            // udev replaces blanks here by "_"; only used when the encoded form is missing.
            plainLabel = nonEmpty(std::string(value));
        } else if (key == "ID_PART_ENTRY_TYPE") {
            content.partitionType = nonEmpty(partitionTypeText(value));
        }
    }
    if (!any) return std::nullopt;
    if (!content.label) content.label = plainLabel;
    return content;
}

BlockContent LinuxBlockProbe::probeFile(const std::filesystem::path& path) {
    const Probe probe(path);
    if (probe.get() == nullptr) return {};
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(probe.get(),
                                      BLKID_SUBLKS_LABEL | BLKID_SUBLKS_TYPE | BLKID_SUBLKS_USAGE);
    // On a partition this reads its entry in the parent's table: PART_ENTRY_TYPE.
    blkid_probe_enable_partitions(probe.get(), 1);
    blkid_probe_set_partitions_flags(probe.get(), BLKID_PARTS_ENTRY_DETAILS);
    // Ambivalent results (two file-system signatures) count as nothing, as udev does.
    if (blkid_do_safeprobe(probe.get()) != 0) return {};

    BlockContent content;
    content.type = probe.value("TYPE");
    content.label = probe.value("LABEL");
    content.usage = probe.value("USAGE");
    if (const auto type = probe.value("PART_ENTRY_TYPE")) {
        content.partitionType = partitionTypeText(*type);
    }
    return content;
}

}  // namespace platform

#include "Linux/Decoder/PackedList.h"

#include "Linux/Decoder/MappedFile.h"

#include <cstring>

namespace keysong {

namespace {

/// What stands before each entry's name, problem and content.
struct EntryHead {
    std::uint64_t bytes;
    std::uint64_t nameBytes;
    std::uint64_t problemBytes;
    std::uint64_t contentBytes;
    std::uint32_t kind;
    std::uint32_t isEncrypted;
};

class ListedArchive final : public Archive {
  public:
    ListedArchive(MappedFile file, std::size_t mostEntries) : file_(std::move(file)), rest_(file_.bytes()) {
        while (!rest_.empty()) {
            if (entries_.size() >= mostEntries) {
                throw ArchiveError("the archive has too many entries");
            }
            EntryHead head{};
            const std::string_view bytes = take(sizeof(head));
            std::memcpy(&head, bytes.data(), sizeof(head));
            const auto kind = head.kind == 0   ? ArchiveEntry::Kind::file
                              : head.kind == 1 ? ArchiveEntry::Kind::folder
                                               : ArchiveEntry::Kind::special;
            entries_.push_back({std::string(take(head.nameBytes)), kind, head.bytes, head.isEncrypted != 0});
            const std::string_view problem = take(head.problemBytes);
            contents_.push_back({problem, take(head.contentBytes)});
        }
    }

    [[nodiscard]] const std::vector<ArchiveEntry>& entries() const override { return entries_; }

    [[nodiscard]] std::string read(std::size_t entry, std::size_t largestBytes) const override {
        const Content& content = contents_.at(entry);
        if (!content.problem.empty()) {
            throw ArchiveError(std::string(content.problem));
        }
        if (content.bytes.size() > largestBytes) {
            throw ArchiveError("the file is too large");
        }
        return std::string(content.bytes);
    }

  private:
    struct Content {
        std::string_view problem;
        std::string_view bytes;
    };

    std::string_view take(std::uint64_t bytes) {
        if (bytes > rest_.size()) {
            throw ArchiveError("it could not be unpacked");
        }
        const std::string_view taken = rest_.substr(0, static_cast<std::size_t>(bytes));
        rest_.remove_prefix(taken.size());
        return taken;
    }

    MappedFile file_;
    std::string_view rest_;
    std::vector<ArchiveEntry> entries_;
    std::vector<Content> contents_;
};

} // namespace

void writePackedList(const Archive& archive, const std::function<void(std::string_view)>& sink) {
    for (std::size_t index = 0; index < archive.entries().size(); ++index) {
        const ArchiveEntry& entry = archive.entries()[index];
        std::string content;
        std::string problem;
        try {
            content = archive.read(index, SIZE_MAX);
        } catch (const ArchiveError& error) {
            problem = error.what();
        }
        const EntryHead head{entry.bytes,
                             entry.name.size(),
                             problem.size(),
                             content.size(),
                             static_cast<std::uint32_t>(entry.kind),
                             entry.isEncrypted ? 1U : 0U};
        sink({reinterpret_cast<const char*>(&head), sizeof(head)});
        sink(entry.name);
        sink(problem);
        sink(content);
    }
}

std::unique_ptr<Archive> archiveOfPackedList(const FileDescriptor& file, std::size_t bytes,
                                             std::size_t mostEntries) {
    return std::make_unique<ListedArchive>(MappedFile(file, bytes), mostEntries);
}

} // namespace keysong

#include "agent/Unpacker.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "agent/ArchiveLibrary.h"
#include "agent/Failure.h"
#include "agent/SafeText.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kReadBlock = 64 * 1024;
constexpr std::size_t kLongestName = 1024;

struct FreeReader {
    void operator()(archive* a) const { ArchiveLibrary::get().readFree(a); }
};
struct FreeWriter {
    void operator()(archive* a) const { ArchiveLibrary::get().writeFree(a); }
};

// The state of one unpack() call.
class Work {
public:
    Work(const std::string& archiveIN, const std::string& folderIN,
         const Unpacker::Limits& limitsIN)
        : name(archiveIN), folder(folderIN), limits(limitsIN) {}

    std::uint64_t run(const std::function<bool()>& interrupted) {
        open();
        archive_entry* entry = nullptr;
        while (next(entry)) {
            if (interrupted && interrupted()) refuse("interrupted");
            if (++entries > limits.entries) refuse("holds too many entries to be a recording");
            if (prepare(entry)) extract(entry);
        }
        if (library.writeClose(writer.get()) != ARCHIVE_OK) refuse(reason(writer.get()));
        removeLinksThatLeave();
        return total;
    }

private:
    [[noreturn]] void refuse(const std::string& why) const {
        throw Failure(Failure::kFailed, "cannot unpack " + safeText(name) + ": " + safeText(why));
    }

    std::string reason(archive* a) const {
        const char* text = library.errorString(a);
        return text != nullptr ? text : "unknown error";
    }

    void open() {
        if (!reader || !writer) refuse("no memory");
        library.readSupportFormatTar(reader.get());
        // Only this one: of the others, some are programs that would be started.
        library.readSupportFilterXz(reader.get());
        if (library.readOpenFilename(reader.get(), name.c_str(), kReadBlock) != ARCHIVE_OK) {
            refuse(reason(reader.get()));
        }
        // Absolute names are refused in prepare(): here every name begins with our folder.
        library.writeDiskSetOptions(writer.get(), ARCHIVE_EXTRACT_SECURE_NODOTDOT |
                                                      ARCHIVE_EXTRACT_SECURE_SYMLINKS |
                                                      ARCHIVE_EXTRACT_NO_OVERWRITE);
    }

    bool next(archive_entry*& entry) {
        const int result = library.readNextHeader(reader.get(), &entry);
        if (result == ARCHIVE_EOF) return false;
        if (result < ARCHIVE_WARN) refuse(reason(reader.get()));
        return true;
    }

    // Checks the entry and turns its name into one below the folder; false to pass over it.
    bool prepare(archive_entry* entry) {
        const char* stored = library.entryPathname(entry);
        if (stored == nullptr || *stored == 0) refuse("an entry has no name");
        const std::string path = stored;
        if (path.size() > kLongestName) refuse("an entry has a name that is too long");
        if (path.front() == '/') refuse("the entry " + path + " has an absolute name");
        const fs::path relative = fs::path(path).lexically_normal();
        if (*relative.begin() == "..") refuse("the entry " + path + " leads out of the folder");
        if (library.entryHardlink(entry) != nullptr)
            refuse("the entry " + path + " is a hard link");

        const auto type = library.entryFiletype(entry);
        if (type != AE_IFREG && type != AE_IFDIR && type != AE_IFLNK) {
            refuse("the entry " + path + " is neither file, folder nor symbolic link");
        }
        // The promise is checked too: the writer makes a file as long as promised.
        if (library.entrySize(entry) < 0 ||
            static_cast<std::uint64_t>(library.entrySize(entry)) > limits.fileBytes) {
            refuse("is larger than a recording can be");
        }
        if (relative == "." || relative.empty()) return false;
        if (type == AE_IFLNK && !staysInside(relative, library.entrySymlink(entry))) return false;
        const std::string place = folder + "/" + path;
        if (type == AE_IFLNK) links.push_back(place);
        library.entryCopyPathname(entry, place.c_str());
        // Whoever unpacks must be able to read it and to remove it again.
        library.entrySetPerm(entry, type == AE_IFDIR ? 0700 : 0600);
        return true;
    }

    static bool staysInside(const fs::path& link, const char* target) {
        if (target == nullptr || *target == '/') return false;
        const fs::path end = (link.parent_path() / target).lexically_normal();
        return end.empty() || *end.begin() != "..";
    }

    // A link may also leave by way of others, which shows only when all are there.
    void removeLinksThatLeave() const {
        for (const std::string& link : links) {
            std::error_code error;
            const std::string end = fs::canonical(link, error).string() + "/";
            if (!error && end.compare(0, folder.size() + 1, folder + "/") != 0) {
                fs::remove(link, error);
            }
        }
    }

    void extract(archive_entry* entry) {
        if (library.writeHeader(writer.get(), entry) < ARCHIVE_WARN) refuse(reason(writer.get()));
        if (library.entryFiletype(entry) == AE_IFREG) copyData();
        if (library.writeFinishEntry(writer.get()) < ARCHIVE_WARN) refuse(reason(writer.get()));
    }

    // Counts what really comes, whatever the header promised.
    void copyData() {
        std::uint64_t written = 0;
        for (;;) {
            const void* data = nullptr;
            std::size_t size = 0;
            la_int64_t offset = 0;
            const int result = library.readDataBlock(reader.get(), &data, &size, &offset);
            if (result == ARCHIVE_EOF) return;
            if (result < ARCHIVE_WARN) refuse(reason(reader.get()));
            written += size;
            total += size;
            if (offset < 0 || static_cast<std::uint64_t>(offset) > limits.fileBytes ||
                written > limits.fileBytes || total > limits.bytes) {
                refuse("is larger than a recording can be");
            }
            if (library.writeDataBlock(writer.get(), data, size, offset) < ARCHIVE_WARN) {
                refuse(reason(writer.get()));
            }
        }
    }

    const std::string& name;
    const std::string& folder;
    const Unpacker::Limits& limits;
    const ArchiveLibrary& library = ArchiveLibrary::get();
    std::unique_ptr<archive, FreeReader> reader{library.readNew()};
    std::unique_ptr<archive, FreeWriter> writer{library.writeDiskNew()};
    std::vector<std::string> links;  // made so far
    std::uint32_t entries = 0;
    std::uint64_t total = 0;
};

}  // namespace

std::uint64_t Unpacker::unpack(const std::string& archiveName, const std::string& folder,
                               const std::function<bool()>& interrupted) const {
    if (mkdir(folder.c_str(), 0700) != 0) {
        throw Failure(Failure::kFailed,
                      "cannot make " + safeText(folder) + ": " + std::strerror(errno));
    }
    std::error_code error;
    const std::string real = fs::canonical(folder, error).string();
    if (error) throw Failure(Failure::kFailed, "cannot enter " + safeText(folder));
    return Work(archiveName, real, limits).run(interrupted);
}

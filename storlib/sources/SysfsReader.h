// SysfsReader: reads attribute files, links and folders below one root folder, and never writes.
//
//   SysfsReader reader("/");                       // this machine
//   SysfsReader step("/tmp/bug/03-degraded");      // a recorded tree
//   std::string model = step.text("/sys/block/sda/device/model");   // "" when not known
//
// Paths      Start with "/" and are meant below the root. Links are followed inside the root: an
//            absolute link or one with too many ".." ends at the root, as after chroot(), so a
//            recording never shows the machine that it is read on.
// Errors     None: whatever cannot be read is "not known". An attribute may vanish, be empty or
//            half written at any moment, and that is no reason to stop. What could not be opened
//            for want of descriptors or memory is another matter: see ranShort().
// Speed      The kernel makes an attribute anew for each reading and says so when its device has
//            gone. So on this machine the attributes that every look asks for, and the folders of
//            the others, stay open, up to the limits below. Beyond them, and in a recording, where
//            files may be replaced, only the folder at hand is open.
// Bounds     At most `limit` bytes of a file are read; the rest is as if it were not there.
// Threads    None inside; one thread at a time.
#ifndef STORLIB_SOURCES_SYSFSREADER_H
#define STORLIB_SOURCES_SYSFSREADER_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

class SysfsReader {
public:
    static constexpr std::size_t kAttributeLimit = 64 * 1024;
    static constexpr std::size_t kTableLimit = 1024 * 1024;  // files that grow with the machine
    static constexpr std::size_t kMostFolders = 128;
    static constexpr std::size_t kMostAttributes = 192;

    // Is told everything that was read; RecordingWriter makes a recording of it.
    class Recorder {
    public:
        virtual ~Recorder() = default;
        virtual void file(const std::string& path, const std::string& contents) = 0;
        virtual void link(const std::string& path, const std::string& target) = 0;
        virtual void entry(const std::string& path) = 0;  // exists; what it is was not asked
    };

    explicit SysfsReader(const std::string& rootFolder);
    ~SysfsReader();
    SysfsReader(const SysfsReader&) = delete;
    SysfsReader& operator=(const SysfsReader&) = delete;

    // Reads from another root from now on.
    void setRoot(const std::string& rootFolder);
    const std::string& getRoot() const { return root; }
    // Follows links by itself, as it does where the kernel cannot be told to stay below a folder.
    void followLinksHere() { kernelKeepsInside = false; }
    bool isThisMachine() const { return live; }  // the root is "/"
    // Keeps handles open as if the files were the kernel's: for a tree in which none is replaced.
    void keepHandles() { keeps = true; }
    // Much of what follows lies below this folder, at whatever depth. A hint, which saves the
    // kernel the way there; the next one takes its place, and other paths may be asked for in
    // between.
    void enter(const std::string& folder);
    // Borrowed, may be null; told of every later reading.
    void setRecorder(Recorder* listener) { recorder = listener; }
    Recorder* getRecorder() const { return recorder; }

    // False when there is no such file or it cannot be read.
    bool read(const std::string& path, std::string& contents, std::size_t limit = kAttributeLimit);
    // Without white space at both ends; "" when not known.
    std::string text(const std::string& path);
    // As text(), but only through the handle that an earlier question has opened, so that true also
    // says that the file, and so the folder that it lies in, is the same as then. False when there
    // is none, when the file has gone, in a recording and while one is made.
    bool textAgain(const std::string& path, std::string& value);
    // False, and `value` stays, unless the whole text is one decimal number of 64 bits.
    bool number(const std::string& path, std::int64_t& value);
    std::int64_t number(const std::string& path, std::int64_t unknown, std::int64_t least,
                        std::int64_t most);  // `unknown` when not within the limits, too
    bool exists(const std::string& path);    // a link counts itself, wherever it leads
    // The place that the link at `path` names, as a path below the root without "." and "..";
    // it need not exist. "" when there is no such link.
    std::string resolve(const std::string& path);
    // The same for the link `name` beside an attribute that was asked for before. A link stays as
    // long as its folder, and leads elsewhere only when a device moves, which /sys/block shows: it
    // is read again when the attribute had to be opened anew and when the links of /sys/block,
    // which are listed first in each look, are others.
    std::string resolveBeside(const std::string& attribute, const std::string& name);
    // The links in a folder that begin with `prefix`: their names, sorted, and where each leads.
    // False when there is no such folder.
    bool listLinks(const std::string& folder, const std::string& prefix,
                   std::vector<std::pair<std::string, std::string>>& found);
    // Names in a folder that begin with `prefix`, sorted. False when there is no such folder.
    bool list(const std::string& folder, const std::string& prefix,
              std::vector<std::string>& names);

    // Whether something could not be opened since the last call because this process, or the
    // machine, had no descriptor or memory left: then what was read is not the machine. From the
    // first time on no handle stays open.
    bool ranShort();
    // For files that others open while they read the same machine: `failure` is their errno.
    void noteFailure(int failure) const;

    // `text` as one decimal number, white space at both ends allowed.
    static bool parse(const std::string& text, std::int64_t& value);

private:
    int open(const std::string& path, int flags) const;
    int openAnyhow(const std::string& path, int flags) const;
    int openAttribute(const std::string& path);
    struct Attribute {
        int handle;
        unsigned int lastLook;    // that asked for it
        std::string link;         // the name of one beside it, once that was asked for
        std::string destination;  // and where that one leads
    };
    using Attributes = std::unordered_map<std::string, Attribute>;

    ssize_t readKept(const std::string& path, char* block, std::size_t size);
    ssize_t readOpen(Attributes::iterator known, char* block, std::size_t size);
    void closeUnused();
    void followDevices(const std::vector<std::pair<std::string, std::string>>& found);
    struct Place {
        int folder;        // -1: none is open
        const char* name;  // in it
    };
    struct OpenFolder {
        std::string path;
        int handle = -1;
        bool stays = false;  // the handle is one of `folders`
    };
    Place placeOf(const std::string& path);
    void open(OpenFolder& folder, bool again);
    static void leave(OpenFolder& folder);
    void forget(int handle);
    void leaveFolders();
    bool namesIn(int folder, const std::string& prefix, std::vector<std::string>& names) const;
    int openByWalk(const std::string& path, int flags) const;

    std::string root;
    bool live = false;
    bool keeps = false;  // handles stay open from one look to the next
    mutable bool isShort = false;
    int rootHandle = -1;
    mutable bool kernelKeepsInside = true;  // openat2() is there; else links are walked here
    Attributes attributes;                  // that stay open, on this machine only
    unsigned int looks = 0;                 // each begins with the list of block devices
    std::vector<std::pair<std::string, std::string>> devices;  // that list, as it was last
    std::unordered_map<std::string, int> folders;              // handles that stay open
    OpenFolder last;                                           // in which something was asked for
    OpenFolder entered;                                        // on this machine only
    Recorder* recorder = nullptr;                              // borrowed
};

#endif  // STORLIB_SOURCES_SYSFSREADER_H

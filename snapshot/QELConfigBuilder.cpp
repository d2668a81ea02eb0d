#include "snapshot/QELConfigBuilder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "snapshot/QELProgressCollection.h"
#include "snapshot/QELSystem.h"
#include "storlib/StorEnums.h"
#include "xml/SimpleXmlParser.h"
#include "xml/XMLWriter.h"

namespace {

constexpr int kEndByte = 0xff;
constexpr std::size_t kBlock = 65536;

// The writer's text, freed whatever happens.
struct OwnedText {
    char* text = new char[1];
    ~OwnedText() { delete[] text; }
};

// Without waiting, which would be for ever with a pipe in the file's place that nobody serves.
// Null, with errno set, when the file cannot be opened.
std::FILE* openAtOnce(const std::string& name, int flags, char const* mode) {
    constexpr mode_t kUsualMode = 0666;
    int descriptor = -1;
    do {
        descriptor = open(name.c_str(), flags | O_NONBLOCK | O_CLOEXEC, kUsualMode);
    } while (descriptor == -1 && errno == EINTR);
    if (descriptor == -1) return nullptr;
    std::FILE* stream = fdopen(descriptor, mode);
    if (stream == nullptr) (void)close(descriptor);
    return stream;
}

bool isPlainFile(std::FILE* stream) {
    struct stat info {};
    return fstat(fileno(stream), &info) == 0 && S_ISREG(info.st_mode);
}

// Every snapshot ends with the end of its root, be it "</System>" or "<System/>". Blanks are
// allowed where the parser takes them.
bool isWhole(const std::string& text) {
    constexpr char kBlanks[] = " \t\r\n";
    constexpr char kRoot[] = "System";
    const std::size_t last = text.find_last_not_of(kBlanks);
    const std::size_t open = text.rfind('<');
    if (last == std::string::npos || open == std::string::npos) return false;
    if (last < open || text[last] != '>' || text.find('>', open) != last) return false;
    const bool closes = text[open + 1] == '/';
    const std::size_t name = open + (closes ? 2 : 1);
    const std::size_t nameEnd = text.find_first_of(" \t\r\n/>", name);
    if (text.compare(name, nameEnd - name, kRoot) != 0) return false;
    return closes || text[last - 1] == '/';
}

std::unique_ptr<QELSystem> emptySystem() { return std::make_unique<QELSystem>(kStorLibGeneric); }

}  // namespace

QELConfigBuilder::QELConfigBuilder(std::string newFileName) : fileName(std::move(newFileName)) {}

QELConfigBuilder::~QELConfigBuilder() {
    closeFile();
    destroyTree();
}

// The new tree is complete before the old one goes: the tasks may be part of it.
void QELConfigBuilder::build(System* liveSystem, QELProgressCollection* progress) {
    auto fresh = emptySystem();
    fresh->build(liveSystem);
    auto tasks = std::make_unique<QELProgressCollection>();
    tasks->build(progress);
    fresh->addChild(tasks.get());
    (void)tasks.release();  // the tree's now
    destroyTree();
    system = std::move(fresh);
}

void QELConfigBuilder::readXML() {
    readContents();
    SimpleXmlParser parser(contents.data(), contents.size());
    destroyTree();
    system = emptySystem();
    system->build(parser);
}

void QELConfigBuilder::writeXML() {
    OwnedText snapshot;
    XMLWriter writer(&snapshot.text);
    if (system == nullptr) system = emptySystem();
    writer.writeTree(system.get());
    destroyTree();
    // An old file is better than one with holes, which would pass for what was really there.
    if (writer.isWhole()) writeContents(snapshot.text, writer.getStrSize());
}

void QELConfigBuilder::resetConfigFile(std::string newFileName) {
    closeFile();
    fileName = std::move(newFileName);
}

// A file that cannot be opened leaves the contents as they are: used up by the parser, they hold
// no element any more.
void QELConfigBuilder::readContents() {
    closeFile();
    damaged = nullptr;
    if (fileName.empty()) return;
    file = openAtOnce(fileName, O_RDONLY, "r");
    if (file == nullptr) {
        if (errno != ENOENT) damaged = "cannot be opened";
        return;
    }
    if (isPlainFile(file)) {
        readWhole();
        if (!isWhole(contents)) damaged = "ends early";
    } else {
        contents.clear();
        damaged = "is no plain file";
    }
    closeFile();
}

void QELConfigBuilder::readWhole() {
    std::setvbuf(file, nullptr, _IONBF, 0);  // every block is read to where it stays
    std::size_t length = 0;
    for (bool more = true; more;) {
        if (contents.size() < length + kBlock) contents.resize(length + kBlock);
        char* const block = &contents[length];
        const std::size_t got = std::fread(block, 1, kBlock, file);
        const void* last = std::memchr(block, kEndByte, got);
        length += last == nullptr
                      ? got
                      : static_cast<std::size_t>(static_cast<char const*>(last) - block);
        more = got == kBlock && last == nullptr;
    }
    contents.resize(length);
}

// One write of the whole text directly behind the truncating open: a crash finds the file old,
// new, or in that one moment short. The name may be a symbolic link, so the file is not replaced,
// and it is not synchronised, which could stall a poll on the very array that fails.
void QELConfigBuilder::writeContents(char const* text, unsigned int length) {
    closeFile();
    if (text == nullptr || fileName.empty()) return;
    file = openAtOnce(fileName, O_WRONLY | O_CREAT | O_TRUNC, "w");
    if (file == nullptr) return;
    std::setvbuf(file, nullptr, _IONBF, 0);
    (void)std::fwrite(text, 1, length, file);  // a full disk shows at the next start
    closeFile();
}

void QELConfigBuilder::closeFile() {
    if (file == nullptr) return;
    std::fflush(file);
    std::fclose(file);
    file = nullptr;
}

void QELConfigBuilder::destroyTree() {
    if (system != nullptr) system->deleteAllChildren();
    system.reset();
}

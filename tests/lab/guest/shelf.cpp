// shelf: a SCSI enclosure with slots, power supplies, fans and temperature sensors. The kernel
// hands over the commands that its own enclosure driver and monitors send (target_core_user); the
// answers come from a table, which is read anew for each of them:
//
//   slot 2 ok sas=0x5001122300000100
//   fan 1 critical
//   supply 0 missing
//   sensor 1 critical celsius=67 overheated
//
// A row is a kind, a number, a status (ok critical noncritical unrecoverable missing unknown) and
// what else is the case. Usage: shelf /dev/uioN TABLE; it ends when the device goes.
// shelf --reset /dev/sgN resets the controller of a drive.
#include <fcntl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t kShelfAddress = 0x5001122400000000;

struct Unit {
    unsigned int status = 1;
    int celsius = 31;
    bool overheated = false;
    std::uint64_t sasAddress = 0;
};

struct Kind {
    const char* name;   // in the table
    std::uint8_t type;  // of an SES element
    const char* text;
};
constexpr std::array<Kind, 4> kKinds = {{{"slot", 0x17, "Array slots"},
                                         {"supply", 0x02, "Power supplies"},
                                         {"fan", 0x03, "Cooling"},
                                         {"sensor", 0x04, "Temperature"}}};

constexpr std::array<const char*, 7> kStatuses = {
    "unsupported", "ok", "critical", "noncritical", "unrecoverable", "missing", "unknown"};

using Units = std::map<int, Unit>;           // by number
using Table = std::map<std::string, Units>;  // by kind

void applyWord(const std::string& word, Unit& unit) {
    const auto status = std::find(kStatuses.begin(), kStatuses.end(), word);
    if (status != kStatuses.end())
        unit.status = static_cast<unsigned int>(status - kStatuses.begin());
    if (word == "overheated") unit.overheated = true;
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos) return;
    const char* value = word.c_str() + equals + 1;
    if (word.compare(0, equals, "celsius") == 0) unit.celsius = std::atoi(value);
    if (word.compare(0, equals, "sas") == 0) unit.sasAddress = std::strtoull(value, nullptr, 16);
}

Table readTable(const std::string& path) {
    Table table;
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string kind;
        std::string word;
        int number = 0;
        if (!(words >> kind >> number)) continue;
        Unit& unit = table[kind][number];
        while (words >> word) applyWord(word, unit);
    }
    return table;
}

void put(Bytes& page, std::uint64_t value, int bytes) {
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
        page.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

void putText(Bytes& page, const std::string& text, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        page.push_back(static_cast<std::uint8_t>(i < text.size() ? text[i] : ' '));
    }
}

// --- the pages of SES: 8 bytes of heading, and for each kind an overall element before the units

Bytes beginPage(int number) {
    Bytes page = {static_cast<std::uint8_t>(number), 0, 0, 0};
    put(page, 1, 4);  // the generation: the set of units never changes
    return page;
}

Bytes configurationPage(const Table& table) {
    Bytes page = beginPage(1);
    put(page, 0x11000024 | (static_cast<std::uint64_t>(table.size()) << 8), 4);
    put(page, kShelfAddress, 8);
    putText(page, "LABENCL", 8);
    putText(page, "VIRTUAL SHELF", 16);
    putText(page, "0107", 4);
    std::string texts;
    for (const Kind& kind : kKinds) {
        const auto units = table.find(kind.name);
        if (units == table.end()) continue;
        put(page, kind.type, 1);
        put(page, units->second.size(), 1);
        put(page, std::strlen(kind.text), 2);
        texts += kind.text;
    }
    putText(page, texts, texts.size());
    return page;
}

void putStatus(Bytes& page, const Kind& kind, const Unit& unit) {
    const bool failed = unit.status == 2;
    page.push_back(static_cast<std::uint8_t>(unit.status));
    switch (kind.type) {
        case 0x02:  // requested on, or failed
            put(page, failed ? 0xC0 : 0xA0, 3);
            break;
        case 0x03: {  // ten revolutions per minute are one; the last bits are the speed's code
            const std::uint64_t speed = unit.status == 1 ? 420 : 0;
            put(page, speed << 8 | (failed ? 0xC0 : 0xA0) | (speed == 0 ? 0 : 4), 3);
            break;
        }
        case 0x04:
            put(page,
                static_cast<std::uint64_t>(unit.celsius + 20) << 8 | (unit.overheated ? 8 : 0), 3);
            break;
        default:
            put(page, 0, 3);
    }
}

Bytes statusPage(const Table& table) {
    Bytes page = beginPage(2);
    for (const Kind& kind : kKinds) {
        const auto units = table.find(kind.name);
        if (units == table.end()) continue;
        put(page, 0, 4);
        for (const auto& [number, unit] : units->second) putStatus(page, kind, unit);
    }
    return page;
}

// Sensors: critical above 60, warning above 50, warning below 10, critical below 5 degrees.
Bytes thresholdPage(const Table& table) {
    Bytes page = beginPage(5);
    for (const Kind& kind : kKinds) {
        const auto units = table.find(kind.name);
        if (units == table.end()) continue;
        put(page, 0, 4);
        for (std::size_t i = 0; i < units->second.size(); ++i) {
            put(page, kind.type == 0x04 ? 0x50461E19 : 0, 4);
        }
    }
    return page;
}

Bytes namesPage(const Table& table) {
    Bytes page = beginPage(7);
    for (const Kind& kind : kKinds) {
        const auto units = table.find(kind.name);
        if (units == table.end()) continue;
        put(page, std::strlen(kind.text), 4);
        putText(page, kind.text, std::strlen(kind.text));
        for (const auto& [number, unit] : units->second) {
            const std::string text = std::string(kind.name) + " " + std::to_string(number);
            put(page, text.size(), 4);
            putText(page, text, text.size());
        }
    }
    return page;
}

// What sits in each slot: one SAS phy each.
Bytes slotsPage(const Table& table) {
    Bytes page = beginPage(10);
    const auto slots = table.find("slot");
    if (slots == table.end()) return page;
    for (const auto& [number, unit] : slots->second) {
        const bool empty = unit.sasAddress == 0;
        const auto place = static_cast<std::uint8_t>(number);
        const Bytes head = {static_cast<std::uint8_t>(empty ? 0x96 : 0x16),
                            34,
                            0,
                            place,
                            1,
                            0,
                            0,
                            place,
                            static_cast<std::uint8_t>(empty ? 0 : 0x10),
                            0,
                            0,
                            static_cast<std::uint8_t>(empty ? 0 : 0x08)};
        page.insert(page.end(), head.begin(), head.end());
        put(page, kShelfAddress, 8);
        put(page, unit.sasAddress, 8);
        put(page, place, 1);
        put(page, 0, 7);
    }
    return page;
}

// Empty when there is no such page.
Bytes diagnosticPage(int number, const Table& table) {
    Bytes page;
    switch (number) {
        case 0:
            return {0, 0, 0, 6, 0, 1, 2, 5, 7, 10};
        case 1:
            page = configurationPage(table);
            break;
        case 2:
            page = statusPage(table);
            break;
        case 5:
            page = thresholdPage(table);
            break;
        case 7:
            page = namesPage(table);
            break;
        case 10:
            page = slotsPage(table);
            break;
        default:
            return {};
    }
    const std::size_t length = page.size() - 4;
    page[2] = static_cast<std::uint8_t>(length >> 8);
    page[3] = static_cast<std::uint8_t>(length);
    return page;
}

// --- SCSI commands

Bytes inquiry(const std::uint8_t* command) {
    if ((command[1] & 1) == 0) {
        Bytes data = {0x0D, 0, 6, 2, 91, 0, 0x40, 0};  // an enclosure that answers for itself
        putText(data, "LABENCL", 8);
        putText(data, "VIRTUAL SHELF", 16);
        putText(data, "0107", 4);
        data.resize(96);
        return data;
    }
    switch (command[2]) {
        case 0x00:
            return {0x0D, 0, 0, 3, 0x00, 0x80, 0x83};
        case 0x80: {
            Bytes data = {0x0D, 0x80, 0, 8};
            putText(data, "SHELF001", 8);
            return data;
        }
        case 0x83: {
            Bytes data = {0x0D, 0x83, 0, 12, 0x61, 0x93, 0, 8};
            put(data, kShelfAddress, 8);
            return data;
        }
        default:
            return {};
    }
}

// False for a command or page that does not exist.
bool execute(const std::uint8_t* command, const std::string& table, Bytes& data) {
    data.clear();
    switch (command[0]) {
        case 0x00:  // are you ready
        case 0x1D:  // lights; they have no effect on the table
            return true;
        case 0x12:
            data = inquiry(command);
            return !data.empty();
        case 0x1A:
            data = {3, 0, 0, 0};
            return true;
        case 0x1C:
            data = diagnosticPage(command[2], readTable(table));
            return !data.empty();
        default:
            return false;
    }
}

// --- the ring of commands that is shared with the kernel. Its own header is for C only.

struct Mailbox {
    std::uint16_t version;
    std::uint16_t flags;
    std::uint32_t ringOffset;
    std::uint32_t ringSize;
    std::uint32_t head;              // the kernel's
    alignas(64) std::uint32_t tail;  // ours
};

enum class Operation { kPad = 0, kCommand = 1 };

struct Header {
    std::uint32_t lengthAndOperation;  // the length is a multiple of 8
    std::uint16_t number;
    std::uint8_t kernelFlags;
    std::uint8_t ourFlags;

    Operation operation() const { return static_cast<Operation>(lengthAndOperation & 7); }
    std::uint32_t length() const { return lengthAndOperation & ~7U; }
};
constexpr std::uint8_t kUnknownOperation = 1;

// What follows the header: a request, which the answer then overwrites. Packed by the kernel, but
// every member lies where it would anyway, except for the gap before the 64-bit numbers.
struct Request {
    std::uint32_t pieces;
    std::uint32_t piecesBack;
    std::uint32_t piecesOfProtection;
    std::uint32_t gap;
    std::uint64_t commandOffset;
    std::uint64_t reserved[2];
};

struct Piece {
    std::uint64_t offset;
    std::uint64_t length;
};

struct Answer {
    std::uint8_t status;
    std::uint8_t reserved[3];
    std::uint32_t length;
    std::uint8_t sense[96];
};

class Ring {
public:
    Ring(int deviceIN, std::uint8_t* memoryIN) : device(deviceIN), memory(memoryIN) {}

    // Answers commands until the device goes.
    void serve(const std::string& table) {
        for (;;) {
            bool answered = false;
            while (mailbox().tail != __atomic_load_n(&mailbox().head, __ATOMIC_ACQUIRE)) {
                std::uint8_t* entry = memory + mailbox().ringOffset + mailbox().tail;
                auto& header = *reinterpret_cast<Header*>(entry);
                if (header.operation() == Operation::kCommand) {
                    answer(entry + sizeof header, table);
                } else if (header.operation() != Operation::kPad) {
                    header.ourFlags |= kUnknownOperation;
                }
                const std::uint32_t next = (mailbox().tail + header.length()) % mailbox().ringSize;
                __atomic_store_n(&mailbox().tail, next, __ATOMIC_RELEASE);
                answered = true;
            }
            std::uint32_t count = 1;
            if (answered && write(device, &count, sizeof count) != sizeof count) return;
            if (read(device, &count, sizeof count) != sizeof count && errno != EINTR) return;
        }
    }

private:
    Mailbox& mailbox() { return *reinterpret_cast<Mailbox*>(memory); }

    void answer(std::uint8_t* place, const std::string& table) {
        const auto& request = *reinterpret_cast<const Request*>(place);
        Bytes data;
        const bool well = execute(memory + request.commandOffset, table, data);
        if (well) hand(request, data);
        auto& result = *reinterpret_cast<Answer*>(place);
        result = Answer{};
        if (well) return;
        result.status = 2;  // look at the sense data
        result.sense[0] = 0x70;
        result.sense[2] = 5;  // illegal request
        result.sense[7] = 10;
        result.sense[12] = 0x24;  // a field of the command
    }

    void hand(const Request& request, const Bytes& data) {
        const auto* pieces = reinterpret_cast<const Piece*>(&request + 1);
        std::size_t at = 0;
        for (std::uint32_t i = 0; i < request.pieces && at < data.size(); ++i) {
            const std::size_t part = std::min<std::size_t>(pieces[i].length, data.size() - at);
            std::memcpy(memory + pieces[i].offset, data.data() + at, part);
            at += part;
        }
    }

    int device;
    std::uint8_t* memory;
};

std::size_t sizeOfRing(const std::string& device) {
    std::ifstream file("/sys/class/uio/" + device.substr(device.rfind('/') + 1) +
                       "/maps/map0/size");
    std::string text;
    file >> text;
    return std::strtoull(text.c_str(), nullptr, 0);
}

// Resets the controller that a drive hangs on. Returns the exit status.
int resetHost(const char* device) {
    const int file = open(device, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    int what = SG_SCSI_RESET_HOST;
    if (file >= 0 && ioctl(file, SG_SCSI_RESET, &what) == 0) return 0;
    std::perror(device);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: shelf /dev/uioN TABLE | shelf --reset /dev/sgN\n", stderr);
        return 2;
    }
    if (std::strcmp(argv[1], "--reset") == 0) return resetHost(argv[2]);
    const std::size_t size = sizeOfRing(argv[1]);
    const int device = open(argv[1], O_RDWR | O_CLOEXEC);
    void* memory = device < 0 || size == 0
                       ? MAP_FAILED
                       : mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, device, 0);
    if (memory == MAP_FAILED) {
        std::perror(argv[1]);
        return 1;
    }
    Ring(device, static_cast<std::uint8_t*>(memory)).serve(argv[2]);
    return 0;
}

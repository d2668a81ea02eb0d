// Fuzzes the opening of a spool whose files were damaged: it opens, and keeps what it is given.
//
// Input: a byte (odd: the spool as a power cut leaves it, with its journal), then damages:
//   file (its number, by name)  kind  place (3 bytes)  bytes (length, then so many)
// Parsed code: agent/spool/

#include "agent/spool/Spool.h"

#include <filesystem>
#include <iterator>
#include <map>
#include <memory>

#include "fuzz/support/Fuzz.h"
#include "fuzz/support/SampleSpool.h"

namespace {

namespace fs = std::filesystem;

using Files = std::map<std::string, std::string>;  // contents by name

constexpr std::size_t kMostDamages = 16;
constexpr std::size_t kPage = 4096;
constexpr std::size_t kLongest = 1 << 20;

std::string folder() { return fuzz::inRoom("spool/"); }

std::string contentsOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

Files filesIn(const std::string& place) {
    Files files;
    for (const fs::directory_entry& entry : fs::directory_iterator(place)) {
        files[entry.path().filename().string()] = contentsOf(entry.path());
    }
    return files;
}

struct Samples {
    Samples() {
        fs::create_directory(folder());
        {
            Spool spool(folder() + "spool.db");
            fillSample(spool);
            cut = filesIn(folder());
        }
        closed = filesIn(folder());
    }
    Files closed;
    Files cut;  // while the spool was open
};

void damage(std::string& bytes, fuzz::Knife& knife) {
    const unsigned kind = knife.byte() % 5;
    const std::size_t high = knife.byte();
    const std::size_t asked = high << 16 | knife.two();
    const std::string with = knife.shortText();
    const std::size_t at = bytes.empty() ? 0 : asked % bytes.size();
    switch (kind) {
        case 0:
            bytes.replace(at, with.size(), with);
            break;
        case 1:
            bytes.resize(at);
            break;
        case 2:  // a sector that reads as zeros
            bytes.replace(at, std::min<std::size_t>(512, bytes.size() - at), std::string(512, 0));
            break;
        case 3:
            if (bytes.size() < kLongest) bytes.insert(at, with);
            break;
        default:  // a page that was written to another's place
            if (bytes.size() >= 2 * kPage) {
                const std::size_t pages = bytes.size() / kPage;
                const std::string page = bytes.substr(asked % pages * kPage, kPage);
                bytes.replace(with.size() % pages * kPage, kPage, page);
            }
    }
}

Files damaged(Files files, fuzz::Knife& knife) {
    for (std::size_t i = 0; i < kMostDamages && !knife.empty() && !files.empty(); ++i) {
        const unsigned which = knife.byte();
        auto file = files.begin();
        std::advance(file, (which & 0x7f) % files.size());
        if (which == 0xff) {
            files.erase(file);
        } else {
            damage(file->second, knife);
        }
    }
    return files;
}

void mustExplain(const SpoolError& e) {
    const std::string line = e.what();
    fuzz::must(!line.empty() && line.find('\n') == std::string::npos, "an error is one line");
}

void readAll(Spool& spool) {
    RecordFilter filter;
    filter.object = "drive:S1";
    filter.undelivered = true;
    filter.severities = {1, 2};
    (void)spool.query(filter);
    for (const Record& record : spool.read(0, 100)) (void)spool.receipts(record.sequence);
    (void)spool.sinkStatus();
    (void)spool.openIncidents();
    (void)spool.incidentsSince(0);
    (void)spool.lastIncident();
    (void)spool.silences();
    (void)spool.watchSpans(0);
    (void)spool.snapshot();
    (void)spool.snapshotMark();
}

void write(Spool& spool) {
    const std::int64_t last = spool.lastSequence();
    Spool::Batch batch;
    batch.records.push_back(sampleRecord(1));
    const std::int64_t next = spool.commit(batch);
    fuzz::must(next > last, "a record comes behind the last one");
    const std::vector<Record> found = spool.read(next - 1, 1);
    fuzz::must(found.size() == 1 && found[0].event.text == "Drive failed.",
               "what was committed can be read");
    (void)spool.cursor("new");
    Receipt receipt;
    spool.deliver("mail", next, receipt);
    spool.putIncident(sampleIncident(1));
    Silence silence;
    silence.until = 1863700000;
    fuzz::must(spool.removeSilence(spool.addSilence(silence)), "a silence can be taken away");
    spool.beginWatch(1763700600);
    (void)spool.prune(1763700000005);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Samples samples;
    fuzz::Knife knife(data, size);
    const Files files = damaged(knife.byte() % 2 == 0 ? samples.closed : samples.cut, knife);
    for (const fs::directory_entry& entry : fs::directory_iterator(folder())) {
        fs::remove_all(entry.path());
    }
    for (const auto& [name, contents] : files) fuzz::put(folder() + name, contents);

    try {
        (void)Spool(folder() + "spool.db", Spool::Access::kReadOnly).lastSequence();
    } catch (const SpoolError& e) {
        mustExplain(e);
    }
    std::unique_ptr<Spool> spool;
    try {
        spool = std::make_unique<Spool>(folder() + "spool.db");
    } catch (const SpoolError& e) {
        mustExplain(e);
        return 0;
    }
    fuzz::must(spool->openingNote().find('\n') == std::string::npos, "a note is one line");
    try {
        readAll(*spool);
    } catch (const SpoolError& e) {
        mustExplain(e);
    }
    try {
        write(*spool);
    } catch (const SpoolError& e) {
        fuzz::must(false, std::string("a spool that opened takes records: ") + e.what() + "; " +
                              spool->openingNote());
    }
    return 0;
}

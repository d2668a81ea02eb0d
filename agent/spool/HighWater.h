// HighWater: the highest numbers that the spool has ever given, in a small file beside it
// ("spool.db.high"), for the day when the database is damaged: a number that was given is never
// given again, because receivers drop what they believe to know.
//
//   HighWater high(file + ".high");
//   const HighWater::Marks before = high.read();
//   high.raise({sequence, incident});         // after each commit
//
// The file is overwritten in place, so it needs no room on a full disk.
//
// Threads  Any number of objects, threads and processes on one file.
// Errors   None: a file that cannot be read gives zeros, one that cannot be written stays.
#ifndef AGENT_SPOOL_HIGHWATER_H
#define AGENT_SPOOL_HIGHWATER_H

#include <cstdint>
#include <string>

class HighWater {
public:
    // No spool lives to give this number: a higher one is damage, and nothing could follow it.
    static constexpr std::int64_t kMost = std::int64_t{1} << 53;

    struct Marks {
        std::int64_t sequence = 0;
        std::int64_t incident = 0;
    };

    explicit HighWater(std::string fileIN) : file(std::move(fileIN)) {}

    Marks read() const;
    void raise(const Marks& marks);  // never lowers what the file says

private:
    std::string file;
    Marks known;
};

#endif  // AGENT_SPOOL_HIGHWATER_H

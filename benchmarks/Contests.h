// Contests: every comparison that is measured, by name, and what it needs.
//
// Names are "topic/detail", for a series over machine sizes "topic/drives". A maker builds its data
// when it is called, so that one large machine is in memory at a time.
#ifndef BENCHMARKS_CONTESTS_H
#define BENCHMARKS_CONTESTS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/Contest.h"

struct BenchSettings {
    std::vector<int> sizes;  // drives
    std::string folder;      // for files; recordings made by `generate` lie in it
};

struct NamedContest {
    std::string name;
    std::function<std::unique_ptr<Contest>()> make;
};

using Contests = std::vector<NamedContest>;

void addXmlContests(const BenchSettings& settings, Contests& contests);
void addCatalogueContests(Contests& contests);
void addQueueContests(Contests& contests);
void addCompareContests(const BenchSettings& settings, Contests& contests);
void addPollContests(const BenchSettings& settings, Contests& contests);
void addSourceContests(const BenchSettings& settings, Contests& contests);

#endif  // BENCHMARKS_CONTESTS_H

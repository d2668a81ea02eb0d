// GeneratedMachine: a storage configuration of any size, the same one every time.
//
//   System system(kStorLibGeneric);
//   GeneratedMachine::fill(system, 1000);           // 1,000 drives on one controller
//   std::string text = GeneratedMachine::snapshot(1000);
//
// Controllers hold 1,000 drives each, channels 100; every drive has two SAS phys, and every ten
// drives are a logical drive. Texts differ from drive to drive.
#ifndef BENCHMARKS_GENERATEDMACHINE_H
#define BENCHMARKS_GENERATEDMACHINE_H

#include <string>

class Adapter;
class System;

namespace GeneratedMachine {

// Appends controllers until there are so many drives.
void fill(System& system, int drives);

// The same drives on one controller, which has as many channels as that takes.
void fillAdapter(Adapter& adapter, int drives);

// The stored configuration of such a machine, as the engine writes it.
std::string snapshot(int drives);

}  // namespace GeneratedMachine

#endif  // BENCHMARKS_GENERATEDMACHINE_H

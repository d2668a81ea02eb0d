// ConfigText: a configuration tree for people, in lines of at most 80 columns:
//
//   adapter 1  [8086:2922] ahci                          PCI 0-4-0  normal
//     drive 1:0:0   port 0   ATA KOVA-LMN HD1280  KL7A200         128 MB  member
//   adapter 0  Linux MD                                  PCI 0-0-0  normal
//     array 0       RAID 1   md0                  -               127 MB  optimal
//
// Drives are numbered adapter:channel:device, as the events number them. What is not known is "-".
// Device texts are made safe. Pure; any thread.
#ifndef AGENT_CONFIGTEXT_H
#define AGENT_CONFIGTEXT_H

#include <string>

class System;

std::string configText(const System& system);  // every line with its line end

// "189 MB", "1.8 GB", "16.4 TB", from megabytes of 1024 * 1024 bytes; "-" for 0.
std::string sizeText(unsigned long long megabytes);

#endif  // AGENT_CONFIGTEXT_H

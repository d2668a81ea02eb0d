// EngineFolder: where the engine keeps its files (settings, catalogue, snapshot, logs) while this
// object lives: beside its own library, or in a folder that a command names.
//
//   EngineFolder beside;                    // what an installed raidwatch uses
//   EngineFolder apart("/var/tmp/mine");    // made when missing; gets a link to the catalogue
//   VantRaidMonitor monitor(lib.get());     // constructed while the folder is in force
//
// Errors   Failure when the folder cannot be made. Threads: one object at a time.
#ifndef AGENT_ENGINEFOLDER_H
#define AGENT_ENGINEFOLDER_H

#include <string>

class EngineFolder {
public:
    EngineFolder();
    explicit EngineFolder(const std::string& folder);
    ~EngineFolder();
    EngineFolder(const EngineFolder&) = delete;
    EngineFolder& operator=(const EngineFolder&) = delete;

    const std::string& path() const { return folder; }  // ends in "/"
    std::string snapshot() const { return folder + "QELVANTConfig.xml"; }
    // Snapshot and logs can be kept, here or where links lead from here.
    bool isWritable() const;
    // Without it the events have codes, but no text.
    bool hasCatalogue() const;

    // Renames a damaged snapshot to "QELVANTConfig.xml.damaged-<date>-<time>" and returns the new
    // name; "" when that was not possible.
    std::string setSnapshotAside() const;

    // Where the loaded engine library lies, with a final "/".
    static std::string libraryFolder();
    // The file of the shipped scenario of that name, as "whole-story"; "" when there is none.
    static std::string shippedScenario(const std::string& name);
    // The shipped catalogue, beside the library or in a share/qel above it; "" when there is none.
    static std::string shippedCatalogue();

private:
    std::string folder;
};

#endif  // AGENT_ENGINEFOLDER_H

// MemorySource: a configuration that a program describes itself; tests and hosts use it.
//
//   auto source = std::make_unique<MemorySource>([](System& system) {
//       auto* adapter = new VantAdapter;
//       adapter->addr.controllerID = 0;
//       system.addChild(adapter);
//   });
//   source->appendEvent(0, {});                        // the controller records something
//   source->setTasks(Addr::ofLogicalDrive(0, 5), {Progress(...)});
//
// The builder is called for every reading, because each reading is a tree of its own. Threads: as
// ConfigSource; change the source only between polls.
#ifndef STORLIB_SOURCES_MEMORYSOURCE_H
#define STORLIB_SOURCES_MEMORYSOURCE_H

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "storlib/Addr.h"
#include "storlib/ConfigSource.h"
#include "storlib/Progress.h"
#include "storlib/sources/ControllerEventLog.h"

class MemorySource : public ConfigSource {
public:
    using Builder = std::function<void(System&)>;

    MemorySource() = default;  // an empty machine
    explicit MemorySource(Builder build) : builder(std::move(build)) {}

    Ret fill(System& system) override;
    Ret tasks(const Addr& address, ProgressCollection& found) override;
    Ret events(unsigned int controllerID, long first, std::string& listing) override;
    std::string lastError() const override { return error; }

    void setBuilder(Builder build) { builder = std::move(build); }
    // Replaces the tasks at an address; an empty list ends them.
    void setTasks(const Addr& address, std::vector<Progress> running);
    std::int32_t appendEvent(unsigned int controllerID, const ControllerEvent& event) {
        return log.append(controllerID, event);
    }
    // Makes every reading, every task query or one controller's listing fail until set back.
    void failFill(bool fail) { fillFails = fail; }
    void failTasks(bool fail) { tasksFail = fail; }
    void failEvents(unsigned int controllerID, bool fail);

    int fillCount() const { return fills; }               // readings so far, failed ones included
    long lastFirstSequence() const { return lastFirst; }  // `first` of the last listing asked for

private:
    Ret fail(char const* what);

    Builder builder;
    std::vector<std::pair<Addr, std::vector<Progress>>> running;
    ControllerEventLog log;
    bool fillFails = false;
    bool tasksFail = false;
    std::set<unsigned int> failingEvents;
    int fills = 0;
    long lastFirst = 0;
    std::string error;
};

#endif  // STORLIB_SOURCES_MEMORYSOURCE_H

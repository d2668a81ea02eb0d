#include "agent/commands/WatchVerb.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>

#include "agent/EngineFolder.h"
#include "agent/Failure.h"
#include "agent/Languages.h"
#include "agent/MonitorThread.h"
#include "agent/Output.h"
#include "agent/StopSignal.h"
#include "events/QELEventCollection.h"
#include "monitor/VantRaidMonitor.h"
#include "storlib/VantLib.h"
#include "xml/SimpleXmlException.h"

namespace {

constexpr std::chrono::milliseconds kDrainInterval{500};
constexpr int kQueueSize = 1000000;  // nobody drains during a single poll

std::unique_ptr<EngineFolder> engineFolder(const std::string& stateFolder) {
    if (stateFolder.empty()) return std::make_unique<EngineFolder>();
    return std::make_unique<EngineFolder>(stateFolder);
}

// Makes the folder and returns its name in the form that the engine takes.
std::string readyLogFolder(const std::string& name) {
    if (name.empty()) return "";
    std::error_code error;
    std::filesystem::create_directories(name, error);
    if (error || access(name.c_str(), W_OK) != 0) {
        throw Failure(Failure::kBadUse,
                      "cannot write logs to " + name + "; name a folder that can be written to");
    }
    return name;
}

void tellWhatIsMissing(const EngineFolder& folder, const Context& context) {
    if (!folder.isWritable()) {
        context.note("cannot write to " + folder.path() +
                     ": no snapshot and no logs are kept, events are not lost; --state DIR names "
                     "another folder");
    }
    if (!folder.hasCatalogue()) {
        context.note("no message catalogue RaidNLS.properties in " + folder.path() +
                     ": events come without text");
    }
}

std::unique_ptr<VantRaidMonitor> makeMonitor(VantLib& lib, const std::string& logFolder,
                                             const std::string& catalogue) {
    auto monitor = logFolder.empty() ? std::make_unique<VantRaidMonitor>(&lib)
                                     : std::make_unique<VantRaidMonitor>(&lib, logFolder);
    if (!catalogue.empty()) monitor->useCatalogue(catalogue);
    return monitor;
}

// Before anything runs: a language that is not installed is bad use.
std::string catalogueOf(const std::string& language) {
    return language.empty() ? std::string() : Languages::catalogue(language);
}

}  // namespace

void WatchVerb::declare(Flags& flags) {
    flags.option("--source", options.source, sourceHelp()).showDefault();
    flags.flag("--once", options.once, "compare once with the stored snapshot, then end");
    flags.option("--state", options.stateFolder,
                 "folder for snapshot, settings and logs (default: beside the library)");
    flags.option("--logs", options.logFolder, "folder for the engine's logs");
    addFormFlags(flags, form);
    addLanguageOption(flags, options.language);
}

int WatchVerb::run(const Context& context) {
    std::string error;
    const std::unique_ptr<VantLib> lib = VantLib::open(options.source, error);
    if (!lib) throw Failure(Failure::kBadUse, error);
    const std::string catalogue = catalogueOf(options.language);
    const std::unique_ptr<EngineFolder> folder = engineFolder(options.stateFolder);
    tellWhatIsMissing(*folder, context);

    EventPrinter printer(context.out, form.form(), context.style);
    if (options.once) {
        checkOnce(*lib, *folder, catalogue, context, printer);
    } else {
        watch(*lib, *folder, catalogue, context, printer);
    }
    const std::string summary = printer.mutedSummary();
    if (!summary.empty()) context.note(summary);
    return Failure::kDone;
}

void WatchVerb::watch(VantLib& lib, const EngineFolder& folder, const std::string& catalogue,
                      const Context& context, EventPrinter& printer) const {
    MonitorThread::Settings settings;
    settings.logFolder = readyLogFolder(options.logFolder);
    settings.catalogue = catalogue;
    MonitorThread monitor(lib, folder, settings);
    const auto show = [&] {
        const MonitorThread::Batch batch = monitor.take();
        for (const std::string& line : batch.notes) context.note(line);
        printer.print(batch.events);
    };
    while (!context.stop.waitFor(kDrainInterval) && !monitor.ended()) {
        show();
        context.out.check();
    }
    monitor.stop();
    show();
}

void WatchVerb::checkOnce(VantLib& lib, const EngineFolder& folder, const std::string& catalogue,
                          const Context& context, EventPrinter& printer) const {
    const std::string logFolder = readyLogFolder(options.logFolder);
    std::unique_ptr<VantRaidMonitor> monitor;
    try {
        monitor = makeMonitor(lib, logFolder, catalogue);
    } catch (const SimpleXmlException& e) {
        const std::string aside = folder.setSnapshotAside();
        if (aside.empty()) {
            throw Failure(Failure::kFailed, "the stored snapshot " + folder.snapshot() +
                                                " is damaged (" + e.what() + "); remove it");
        }
        context.note("the stored snapshot is damaged (" + std::string(e.what()) + "); it is now " +
                     aside);
        monitor = makeMonitor(lib, logFolder, catalogue);
    }
    if (monitor->getControllerCount() == 0 && !monitor->initialize(true)) {
        throw Failure(Failure::kFailed, "the storage cannot be read: " + lib.lastError());
    }
    QELEventCollection queue("", kQueueSize, kEventAll);
    monitor->getCurrentEvents(queue);
    printer.print(queue.getAllEvents());
}

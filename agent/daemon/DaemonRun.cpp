#include "agent/daemon/DaemonRun.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <thread>
#include <utility>

#include "agent/Failure.h"
#include "agent/Languages.h"
#include "agent/StopSignal.h"
#include "agent/Wording.h"
#include "agent/daemon/IdleMemory.h"
#include "agent/daemon/MachineLock.h"
#include "agent/daemon/PollReport.h"
#include "agent/daemon/StateDocument.h"
#include "agent/daemon/StateFile.h"
#include "agent/sinks/HostName.h"
#include "agent/state/StateJson.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;
using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::seconds kTurn{1};
constexpr std::chrono::milliseconds kLook{20};  // how often `--once` looks how far it is
constexpr std::chrono::minutes kFirstPrune{10};
constexpr std::chrono::hours kPruneInterval{1};
// Well below a watchdog of a minute: each try that fails feeds it.
constexpr std::chrono::milliseconds kFirstRetry{1000};
constexpr std::chrono::milliseconds kLongestRetry{15000};
constexpr char kSpoolTopic[] = "spool";
constexpr char kStorageTopic[] = "storage";
constexpr char kWebTopic[] = "http";
constexpr mode_t kControlMode = 0660;
constexpr mode_t kReadMode = 0666;

std::chrono::milliseconds paced(std::chrono::milliseconds time, double pace) {
    const auto shown = std::chrono::duration_cast<std::chrono::milliseconds>(time * pace);
    return std::max(shown, std::chrono::milliseconds(1));
}

// A folder that everybody may write is a place for others' sockets and files under our names.
void closeToOthers(const std::string& name, const std::function<void(const std::string&)>& note) {
    struct stat info {};
    if (stat(name.c_str(), &info) != 0 || (info.st_mode & S_IWOTH) == 0) return;
    const bool isOurs = info.st_uid == geteuid() && (info.st_mode & S_ISVTX) == 0;
    if (isOurs && chmod(name.c_str(), info.st_mode & 07777 & ~mode_t{S_IWOTH}) == 0) {
        note("everybody could write to " + name + "; now others cannot");
        return;
    }
    throw Failure(Failure::kFailed,
                  "everybody may write to " + name +
                      ", and could put files there in our name; name another "
                      "folder in [paths], or take the permission away: chmod o-w " +
                      name);
}

}  // namespace

DaemonRun::DaemonRun(const Daemon::Options& optionsIN, const Context& contextIN)
    : options(optionsIN),
      context(contextIN),
      hangUps(takeHangUps()),
      clock(options.pace == 1 ? nullptr : std::make_unique<PacedClock>(options.pace)),
      settings(readSettings()),
      places(settings),
      nextPrune(SteadyClock::now() + kFirstPrune) {
    std::string error;
    lib = WatchedLib::open(settings.source, error);
    if (!lib) throw Failure(Failure::kBadUse, error);
    if (!settings.language.empty()) catalogue = Languages::catalogue(settings.language);
    prepareFolders();
    lock = std::make_unique<PidLock>(places.lockFile());
    folder = settings.engineFolder.empty() ? std::make_unique<EngineFolder>()
                                           : std::make_unique<EngineFolder>(settings.engineFolder);
    if (!folder->isWritable()) {
        note("cannot write to " + folder->path() +
             ": the engine keeps no snapshot there, and what changes while raidwatch is away "
             "stays unseen; name another folder, engine in [paths]");
    }
    // Before anything of the engine is constructed: it would wait for ever.
    freeMachineLock();
    watchBegins = Clock::current().now();
    try {
        openStore();
    } catch (const SpoolError& e) {
        if (e.kind != SpoolError::Kind::kFull || options.once) throw;
        storeTrouble = e.what();
        placeSnapshot("");
    }
    startMonitor();
}

DaemonRun::HangUps::~HangUps() { stop.callNobody(); }

// With `once` a hang-up ends the run, as it ends any other verb.
DaemonRun::HangUps DaemonRun::takeHangUps() {
    if (!options.once) context.stop.takeHangUpAsReload([this] { bell.ring(); });
    return {context.stop};
}

void DaemonRun::note(const std::string& line) const {
    const std::lock_guard<std::mutex> guard(noting);
    context.note(line);
}

SettingsReader DaemonRun::settingsReader() const {
    const bool named = !options.configFile.empty();
    return SettingsReader(named ? options.configFile : SettingsReader::kDefaultFile, named);
}

AgentSettings DaemonRun::readSettings(SettingsReader& reader) const {
    AgentSettings read = reader.read();
    if (!options.source.empty()) read.source = options.source;
    return read;
}

AgentSettings DaemonRun::readSettings() const {
    SettingsReader reader = settingsReader();
    return readSettings(reader);
}

void DaemonRun::prepareFolders() const {
    for (const std::string& name : {settings.stateFolder, settings.runFolder}) {
        std::error_code error;
        std::filesystem::create_directories(name, error);
        if (error || access(name.c_str(), W_OK) != 0) {
            throw Failure(Failure::kFailed, "cannot write to " + name +
                                                "; run as root, or name another folder in "
                                                "[paths]");
        }
        closeToOthers(name, [this](const std::string& line) { note(line); });
    }
}

void DaemonRun::freeMachineLock() const {
    try {
        const std::string line = MachineLock::repair(lock->descriptor());
        if (!line.empty()) note(line);
    } catch (const Failure& e) {
        note(e.what());  // the watchdog will tell when the monitor really waits
    }
}

void DaemonRun::openStore() {
    spool = std::make_unique<Spool>(RunFolder::spoolFile(settings));
    if (!spool->openingNote().empty()) note(spool->openingNote());
    placeSnapshot(spool->snapshot());
    makePipeline();
    startSinks();
}

// What was committed with the records counts; the file is a copy of it. Once only: from then on the
// engine's file is the engine's.
void DaemonRun::placeSnapshot(const std::string& committed) {
    if (safe) return;
    safe = std::make_unique<SafeSnapshot>(folder->snapshot());
    if (!folder->isWritable()) return;
    const std::string remark = safe->restore(committed);
    if (!remark.empty()) note(remark);
}

void DaemonRun::tryToOpenStore() {
    try {
        openStore();
    } catch (const SpoolError& e) {
        pipeline.reset();
        spool.reset();
        storeTrouble = e.what();
        return;
    }
    storeTrouble.clear();
    pipeline->setProblem(kSettingsTopic, settingsTrouble);
    note("the spool is open now; " + counted(waiting.size(), "event") + " waited in memory");
    pipeline->pass(waiting.takeAll());
}

void DaemonRun::makePipeline() {
    pipeline = std::make_unique<Pipeline>(
        *spool, *safe, settings,
        Pipeline::Places{places.stateFile(), RunFolder::lastStateFile(settings)}, [this] {
            if (sinks) sinks->notify();
            if (web) web->notify();
        });
    pipeline->keepSinksAwayBy([this](bool away) { return !sinks || sinks->stayAway(away); });
    temperatures = TemperatureLog::parse(StateFile(RunFolder::temperatureFile(settings)).read());
    const std::string last = StateFile(RunFolder::lastStateFile(settings)).read();
    if (last.empty()) return;
    try {
        const MachineState before = stateFromJson(Json::parse(last));
        if (!monitor) builder.remember(before);  // later it is the monitoring thread's
        pipeline->remember(before);
    } catch (const std::exception& e) {
        note("what the last run remembered of the machine cannot be read (" +
             std::string(e.what()) + "); going on without it");
    }
}

void DaemonRun::startSinks() {
    const auto maker = [files = SinkPlaces{places.stateFile(), settings.stateFolder}](
                           const SinkSettings& sink) { return makeSink(sink, files); };
    sinks = std::make_unique<SinkSet>(
        RunFolder::spoolFile(settings), [this](const std::string& line) { note(line); }, maker);
    sinks->reload(settings.sinks);
    if (settings.sinks.empty()) {
        note("no sink is configured: nobody will be told; see raidwatch.toml(5)");
    }
    noteWatchBegins();
}

void DaemonRun::noteWatchBegins() {
    if (watchBegins == 0) return;
    try {
        spool->beginWatch(watchBegins);
        watchBegins = 0;
    } catch (const SpoolError&) {
        // With the next turn; the pipeline tells what is wrong.
    }
}

void DaemonRun::startMonitor() {
    MonitorThread::Settings watched;
    watched.catalogue = catalogue;
    watched.look = [this] { return look(); };
    watched.wake = [this] { bell.ring(); };
    watched.beforeResuming = [this] { putSnapshotBack(); };
    watched.firstWait = paced(kFirstRetry, options.pace);
    watched.longestWait = paced(kLongestRetry, options.pace);
    if (clock) watched.joinStep = std::chrono::milliseconds(10);
    monitor = std::make_unique<MonitorThread>(*lib, *folder, watched);
}

// On the monitoring thread.
std::shared_ptr<const PollReport> DaemonRun::look() {
    auto report = std::make_shared<PollReport>();
    report->state = builder.build(*lib, Clock::current().now());
    report->state.source = settings.source;
    report->unreadable = lib->trouble();
    // A picture that the storage did not give now keeps its age, and gets too old in time.
    if (report->unreadable.empty()) {
        lastGood = report->state.polledAt;
    } else {
        report->state.polledAt = lastGood;
    }
    report->snapshot = safe->readCurrent();
    if (!report->snapshot.empty()) shownSnapshot = report->snapshot;
    return report;
}

// On the monitoring thread, after a poll that broke off: it may have written its snapshot.
void DaemonRun::putSnapshotBack() {
    if (!shownSnapshot.empty()) safe->putBack(shownSnapshot);
}

void DaemonRun::openDoors() {
    const std::string spoolFile = RunFolder::spoolFile(settings);
    controlDoor = std::make_unique<Door>(Door::Parts{spoolFile, places.stateFile(), &desk});
    readDoor = std::make_unique<Door>(Door::Parts{spoolFile, places.stateFile(), nullptr});
    const auto handler = [](Door& door) {
        return [&door](const std::string& line, uid_t peer) { return door.answer(line, peer); };
    };
    controlServer = std::make_unique<ControlServer>(
        places.controlSocket(), ControlServer::Access{kControlMode, settings.controlGroup},
        handler(*controlDoor), ControlServer::Limits{});
    readServer =
        std::make_unique<ControlServer>(places.readSocket(), ControlServer::Access{kReadMode, ""},
                                        handler(*readDoor), ControlServer::Limits{});
    for (const ControlServer* server : {controlServer.get(), readServer.get()}) {
        if (!server->note().empty()) note(server->note());
    }
    web = std::make_unique<Web>(settings, hostName(),
                                [this](const std::string& line) { note(line); });
}

// What is wrong with the web server stands in state.json, and is nobody else's trouble.
void DaemonRun::tellOfWeb() {
    if (!web || !pipeline) return;
    pipeline->setProblem(kWebTopic, web->problem());
    pipeline->setPages(web->addresses());
}

int DaemonRun::watch() {
    openDoors();
    service.ready("watching " + settings.source);
    while (!context.stop.requested()) {
        bell.waitFor(kTurn);
        turn();
    }
    shutDown();
    return Failure::kDone;
}

void DaemonRun::turn() {
    if (!pipeline) tryToOpenStore();
    if (!pipeline) return turnWithoutStore();
    MonitorThread::Batch batch;
    if (pipeline->wantsMore()) batch = monitor->take();
    for (const std::string& line : batch.notes) note(line);
    const bool ended = batch.polls > 0;
    const bool lives = batch.ended > 0;
    tellOfWeb();
    if (sinks->takeDamage()) pipeline->distrustSpool();
    pipeline->pass(std::move(batch));
    for (const std::string& line : pipeline->takeNotes()) note(line);
    noteWatchBegins();
    tellProblems(pipeline->problems());
    serveRequests();
    if (ended) {
        if (web) web->notify();  // state.json is new
        noteTemperatures();
        if (!polled) giveBackMemory();
        polled = true;
    }
    if (lives) service.polled();
    tellManager();
    pruneSometimes();
}

// It watches and remembers; nobody can be told more than that.
void DaemonRun::turnWithoutStore() {
    MonitorThread::Batch batch;
    if (waiting.hasRoom()) batch = monitor->take();
    for (const std::string& line : batch.notes) note(line);
    const bool polledAnew = batch.polls > 0;
    if (batch.ended > 0) service.polled();
    waiting.add(std::move(batch));
    const std::map<std::string, std::string> problems = problemsWithoutStore();
    tellProblems(problems);
    writeStateWithoutStore(problems);
    if (polledAnew && web) web->notify();
    service.status("watching " + settings.source + "; spool: " + storeTrouble);
    serveRequests();
}

void DaemonRun::serveRequests() {
    desk.serve([this](const Json& request) { return carryOut(request); });
    if (context.stop.takeReload()) reloadOnSignal();
}

// As the pipeline would have them.
std::map<std::string, std::string> DaemonRun::problemsWithoutStore() const {
    std::map<std::string, std::string> problems;
    problems[kSpoolTopic] =
        storeTrouble + "; " + counted(waiting.size(), "event") + " in memory, trying again";
    if (!waiting.unreadable().empty()) {
        problems[kStorageTopic] = "it cannot be read: " + waiting.unreadable();
    }
    if (!settingsTrouble.empty()) problems[kSettingsTopic] = settingsTrouble;
    if (web && !web->problem().empty()) problems[kWebTopic] = web->problem();
    return problems;
}

void DaemonRun::writeStateWithoutStore(const std::map<std::string, std::string>& problems) const {
    const std::vector<std::string> pages = web ? web->addresses() : std::vector<std::string>();
    try {
        StateFile(places.stateFile())
            .write(stateDocument(waiting.machine(),
                                 {waiting.size(), waiting.pollSeconds(), problems, pages}));
    } catch (const Failure&) {
        // The run folder is full too; what is said goes to the journal.
    }
}

// Each trouble once, and its end; how it goes on shows in the state file. Who reads the settings
// and the web server have told theirs.
void DaemonRun::tellProblems(const std::map<std::string, std::string>& problems) {
    for (const auto& [topic, line] : problems) {
        if (topic == kSettingsTopic || topic == kWebTopic) continue;
        if (toldTopics.insert(topic).second) note(topic + ": " + line);
    }
    for (auto topic = toldTopics.begin(); topic != toldTopics.end();) {
        if (problems.count(*topic) != 0) {
            ++topic;
            continue;
        }
        note(*topic + ": all is well again");
        topic = toldTopics.erase(topic);
    }
}

void DaemonRun::tellManager() {
    const MachineState& seen = pipeline->machine();
    std::string line =
        polled ? counted(seen.arrays.size(), "array") + ", " + counted(seen.drives.size(), "drive")
               : "watching " + settings.source + ", not yet read";
    for (const auto& [topic, problem] : pipeline->problems()) line += "; " + topic + ": " + problem;
    service.status(line);
}

void DaemonRun::pruneSometimes() {
    if (SteadyClock::now() < nextPrune) return;
    nextPrune = SteadyClock::now() + kPruneInterval;
    pipeline->prune(Clock::current().now() - settings.keep);
}

// For the charts of the page. Where there is no room for it they end earlier; what is wrong with
// the disk is said by those who need it more.
void DaemonRun::noteTemperatures() {
    if (!temperatures.note(pipeline->machine())) return;
    try {
        StateFile(RunFolder::temperatureFile(settings)).write(temperatures.text());
    } catch (const Failure&) {
    }
}

// --- the end ---

void DaemonRun::shutDown() {
    service.stopping();
    desk.close();
    if (web) web->stop();
    for (ControlServer* server : {controlServer.get(), readServer.get()}) {
        if (server != nullptr) server->stop();
    }
    monitor->stop();
    if (!pipeline) tryToOpenStore();
    MonitorThread::Batch rest = monitor->take();
    for (const std::string& line : rest.notes) note(line);
    if (!pipeline) {
        note(storeTrouble + "; " + counted(waiting.size() + rest.events.size(), "event") +
             " could not be stored; the next start finds again what the snapshot does not show");
        return;
    }
    pipeline->finish(std::move(rest));
    tellProblems(pipeline->problems());
    try {
        spool->endWatch(Clock::current().now());
    } catch (const SpoolError& e) {
        note(e.what());
    }
    threadsLeft = !sinks->stop();
}

int DaemonRun::once() {
    const bool read = waitForReport();
    monitor->stop();
    turn();
    const bool told = waitForSinks();
    shutDown();
    if (!read) {
        throw Failure(Failure::kFailed,
                      "the storage could not be read in time: " + lib->lastError());
    }
    if (!told) throw Failure(Failure::kFailed, "not everybody could be told; the next run goes on");
    return pipeline->problems().empty() ? Failure::kDone : Failure::kFailed;
}

bool DaemonRun::waitForReport() {
    const auto end = SteadyClock::now() + options.patience;
    while (!context.stop.requested() && SteadyClock::now() < end) {
        bell.waitFor(kLook);
        MonitorThread::Batch batch = monitor->take();
        for (const std::string& line : batch.notes) note(line);
        const bool ended = batch.polls > 0;
        pipeline->pass(std::move(batch));
        if (ended) return true;
    }
    return false;
}

// True when nobody has anything before him.
bool DaemonRun::waitForSinks() {
    const auto end = SteadyClock::now() + options.patience;
    std::string late;
    do {
        late.clear();
        for (const SinkStatus& sink : sinks->status()) {
            if (sink.waiting > 0) late += (late.empty() ? "" : ", ") + sink.sink;
        }
        if (late.empty()) return true;
        std::this_thread::sleep_for(kLook);
    } while (!context.stop.requested() && SteadyClock::now() < end);
    note("not yet told: " + late);
    return false;
}

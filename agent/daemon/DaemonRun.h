// DaemonRun: one life of the daemon, with the parts as its members in the order in which they are
// made. Private to Daemon. What changes it while it runs (reload, requests of people) is in
// DaemonRunChanges.cpp.
#ifndef AGENT_DAEMON_DAEMONRUN_H
#define AGENT_DAEMON_DAEMONRUN_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/Context.h"
#include "agent/EngineFolder.h"
#include "agent/MonitorThread.h"
#include "agent/daemon/Bell.h"
#include "agent/daemon/ChangeDesk.h"
#include "agent/daemon/ControlServer.h"
#include "agent/daemon/Daemon.h"
#include "agent/daemon/Door.h"
#include "agent/daemon/PacedClock.h"
#include "agent/daemon/PidLock.h"
#include "agent/daemon/Pipeline.h"
#include "agent/daemon/RunFolder.h"
#include "agent/daemon/ServiceManager.h"
#include "agent/daemon/WaitingRoom.h"
#include "agent/daemon/WatchedLib.h"
#include "agent/settings/AgentSettings.h"
#include "agent/settings/SettingsReader.h"
#include "agent/sinks/SinkSet.h"
#include "agent/spool/SafeSnapshot.h"
#include "agent/spool/Spool.h"
#include "agent/state/StateBuilder.h"
#include "agent/state/TemperatureLog.h"
#include "agent/web/Web.h"

class DaemonRun {
public:
    DaemonRun(const Daemon::Options& optionsIN, const Context& contextIN);
    DaemonRun(const DaemonRun&) = delete;
    DaemonRun& operator=(const DaemonRun&) = delete;

    int watch();  // until a stop is requested
    int once();
    // Threads of sinks that hang are still there when this object has gone.
    bool leavesThreadsBehind() const { return threadsLeft; }

private:
    // While it lives, SIGHUP rings the bell.
    struct HangUps {
        const StopSignal& stop;
        ~HangUps();
    };

    static constexpr char kSettingsTopic[] = "settings";  // of its problem, among the others

    SettingsReader settingsReader() const;
    AgentSettings readSettings(SettingsReader& reader) const;
    AgentSettings readSettings() const;
    void prepareFolders() const;
    void note(const std::string& line) const;

    void freeMachineLock() const;
    void openStore();
    void placeSnapshot(const std::string& committed);
    void tryToOpenStore();
    void makePipeline();
    void startSinks();
    void noteWatchBegins();
    void startMonitor();
    void openDoors();

    void turn();
    void turnWithoutStore();
    void serveRequests();
    std::map<std::string, std::string> problemsWithoutStore() const;
    void writeStateWithoutStore(const std::map<std::string, std::string>& problems) const;
    void setSettingsProblem(const std::string& line);  // "" ends it
    void tellProblems(const std::map<std::string, std::string>& problems);
    void pruneSometimes();
    void noteTemperatures();
    void tellOfWeb();
    void tellManager();
    std::vector<std::string> reload();  // the files read; Failure, and nothing changed
    void reloadOnSignal();
    void shutDown();
    bool waitForReport();
    bool waitForSinks();
    std::shared_ptr<const PollReport> look();
    void putSnapshotBack();
    HangUps takeHangUps();
    nlohmann::ordered_json carryOut(const nlohmann::ordered_json& request);

    const Daemon::Options options;
    const Context& context;
    mutable std::mutex noting;  // sinks' threads have notes too
    Bell bell;
    // From the first moment, so that a hang-up while all this is made is a reload and no stop.
    const HangUps hangUps;
    std::unique_ptr<PacedClock> clock;
    AgentSettings settings;
    const RunFolder places;
    std::unique_ptr<PidLock> lock;
    std::string catalogue;
    std::unique_ptr<EngineFolder> folder;
    std::unique_ptr<WatchedLib> lib;
    std::unique_ptr<Spool> spool;
    std::unique_ptr<SafeSnapshot> safe;
    std::unique_ptr<SinkSet> sinks;
    std::unique_ptr<Pipeline> pipeline;

    StateBuilder builder;       // the monitoring thread's own
    std::string shownSnapshot;  // the same; of the last completed poll
    std::int64_t lastGood = 0;  // the same; when the storage was last read
    std::unique_ptr<MonitorThread> monitor;

    ChangeDesk desk{[this] { bell.ring(); }};
    std::unique_ptr<Door> controlDoor;
    std::unique_ptr<Door> readDoor;
    std::unique_ptr<ControlServer> controlServer;
    std::unique_ptr<ControlServer> readServer;
    std::unique_ptr<Web> web;

    ServiceManager service;
    std::chrono::steady_clock::time_point nextPrune;
    bool polled = false;  // at least once

    TemperatureLog temperatures;
    WaitingRoom waiting;               // while there is no pipeline
    std::string storeTrouble;          // why there is none
    std::string settingsTrouble;       // why those of the file are not in force; "" when they are
    std::set<std::string> toldTopics;  // topics of problems that were noted
    std::int64_t watchBegins = 0;      // still to be noted in the spool; 0: it is
    bool threadsLeft = false;
};

#endif  // AGENT_DAEMON_DAEMONRUN_H

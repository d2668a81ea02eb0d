// Paths, settings and the debug log.
#include "monitor/BaseRaidMonitor.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <new>

#include "monitor/EngineFile.h"
#include "monitor/LibraryFolder.h"
#include "util/Clock.h"
#include "util/Number.h"

namespace {

constexpr char kLogFolder[] = "qavelogs";
constexpr char kSettingsFile[] = "QELConfig.conf";
constexpr std::size_t kDebugLineSize = 1024;  // with its NUL

std::mutex folderMutex;

std::string& chosenFolder() {
    static std::string folder;
    return folder;
}

int decimal(const std::string& text) { return strtol32(text.c_str(), 10); }

bool isOn(const std::string& text) { return text == "on" || text == "On" || text == "ON"; }

}  // namespace

void BaseRaidMonitor::useFolder(const std::string& folder) {
    const std::lock_guard<std::mutex> guard(folderMutex);
    chosenFolder() = folder;
}

void BaseRaidMonitor::setQELPath() {
    {
        const std::lock_guard<std::mutex> guard(folderMutex);
        libPath = chosenFolder();
    }
    if (libPath.empty()) libPath = libraryFolder("/proc/self/maps");
    if (libPath.back() != '/') libPath += '/';
}

void BaseRaidMonitor::setQELLogPath(std::string newLogPath) { logPath = std::move(newLogPath); }

int BaseRaidMonitor::create_directory() {
    const int result = mkdir((libPath + kLogFolder).c_str(), 0755);
    logDirStatus = result != 0 && errno == EEXIST ? 0 : result;
    return logDirStatus;
}

std::string BaseRaidMonitor::logDirectory(bool explicitLogs) const {
    if (!explicitLogs) return logDirStatus == 0 ? libPath + kLogFolder + "/" : libPath;
    if (logPath.empty()) return libPath;
    return logPath.back() == '/' ? logPath : logPath + "/";
}

void BaseRaidMonitor::readConfig() {
    const std::string path = libPath + kSettingsFile;
    if (!EngineFile::canBeOpened(path)) {
        logError(
            "ERROR: BaseRaidMonitor::readConfig() Config File (%s) not found. Creating an empty "
            "file.\n",
            path.c_str());
        // In a folder that cannot be written to there is simply none; the settings keep.
        EngineFile::createEmpty(path);
        return;
    }
    std::unique_ptr<NLSParser> settings;
    try {
        settings = std::make_unique<NLSParser>(path);
    } catch (const std::bad_alloc&) {
        logError("ERROR: BaseRaidMonitor::readConfig() Cannot create NLSParser.\n");
        return;
    }
    // Each falls back first: a line that is nothing but a key ends the reading with an exception.
    eventQueueSize = 0;
    eventQueueSize = decimal(settings->get("qel.eventQueueSize"));
    debugLevel = 0;
    debugLevel = decimal(settings->get("qel.debugMask"));
    osLoggingLevel = 3;  // only seen after such an exception: no value reads as 0
    osLoggingLevel = decimal(settings->get("agent.OSLoggingLevel"));
    alarmEnabled = false;
    alarmEnabled = isOn(settings->get("agent.alarm"));
}

void BaseRaidMonitor::logDebugMsg(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    writeDebugLine(format, arguments);
    va_end(arguments);
}

void BaseRaidMonitor::logError(const char* format, ...) {
    if (!debugOn(kDebugError)) return;
    std::va_list arguments;
    va_start(arguments, format);
    writeDebugLine(format, arguments);
    va_end(arguments);
}

void BaseRaidMonitor::logTrace(const char* format, ...) {
    if (!debugOn(kDebugTrace)) return;
    std::va_list arguments;
    va_start(arguments, format);
    writeDebugLine(format, arguments);
    va_end(arguments);
}

void BaseRaidMonitor::writeDebugLine(const char* format, std::va_list arguments) {
    if (!debugLog) return;
    // stop() logs from the host's threads: the line is made on the stack and written in one piece.
    // Also when there is no memory, which is worth a line.
    char line[kDebugLineSize];
    Clock::Text time;
    Clock::write(static_cast<std::time_t>(Clock::current().now()), time);
    int length = std::snprintf(line, sizeof line, "[%s]  ", time);
    const std::size_t prefix = static_cast<std::size_t>(length);
    length = std::vsnprintf(line + prefix, sizeof line - prefix, format, arguments);
    if (length < 0) return;
    (void)std::fwrite(line, 1, std::strlen(line), debugLog.get());
    (void)std::fflush(debugLog.get());
}

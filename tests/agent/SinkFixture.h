// What the tests of the sinks share: records, settings, a spool with a few words, and a sink that
// does what the test says.
#ifndef TESTS_AGENT_SINKFIXTURE_H
#define TESTS_AGENT_SINKFIXTURE_H

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/sinks/Sink.h"
#include "agent/spool/Spool.h"

inline Record driveEvent(int code = 401, int severity = kEventError,
                         const std::string& serial = "S7K2M9Q0") {
    Record record;
    record.object = "drive:" + serial;
    record.objectName = "drive 1:0:3";
    record.event =
        QELEvent(code, severity, "Drive failed: slot 3.", "EVENT_TORVEX_PD_STATE_FAILED");
    record.event.timeStamp = 1000000000;
    record.event.objectType = QELEvent::kPhysicalDrive;
    record.event.extra1 = serial;
    record.event.adapterSerial = "SN0042";
    return record;
}

inline Record arrayNotice(Notice::Kind kind = Notice::Kind::kOpened, int severity = kEventWarning,
                          std::int64_t incident = 7) {
    Record record;
    record.kind = Record::Kind::kNotice;
    record.object = "array:0:127";
    record.objectName = "md127";
    record.incident = incident;
    record.notice.kind = kind;
    record.notice.subject = "DEGRADED md127 on host: survives no further failure";
    record.notice.body = "First line.\nSecond line.\n";
    record.notice.incident.id = incident;
    record.notice.incident.object = record.object;
    record.notice.incident.objectName = record.objectName;
    record.notice.incident.condition = "redundancy";
    record.notice.incident.value = "degraded";
    record.notice.incident.severity = severity;
    record.notice.incident.code = 301;
    record.notice.incident.updatedAt = 1000000000;
    return record;
}

inline Record testNotice(const std::string& object = "") {
    Record record = arrayNotice(Notice::Kind::kTest, kEventInformation, 0);
    record.origin = Origin::kTest;
    record.object = object;
    record.objectName = "";
    record.notice.subject = "TEST from host: nothing happened";
    record.notice.incident = Incident();
    record.notice.incident.severity = kEventInformation;
    return record;
}

inline SinkSettings sinkSettings(const std::string& name, const std::string& type = "fake") {
    SinkSettings settings;
    settings.name = name;
    settings.type = type;
    settings.where = "raidwatch.toml:3";
    return settings;
}

inline std::int64_t commitOne(Spool& spool, const Record& record) {
    Spool::Batch batch;
    batch.records.push_back(record);
    return spool.commit(batch);
}

// What a fake sink was told, and what it answers; shared with the sink, because its worker owns it.
struct FakeTalk {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::int64_t> told;  // sequences, in order, repeats too
    std::vector<std::string> ids;
    std::deque<Answer> answers;                  // for the next deliveries; "ok" when there is none
    std::function<Answer(const Record&)> reply;  // when set, instead
    std::function<bool(const Record&)> wants;    // when set
    std::size_t window = 1;
    int ticks = 0;
    std::vector<std::int64_t> known;                   // incidents that it was given at its start
    std::vector<std::vector<std::int64_t>> stillOpen;  // each time that it was told of them
    bool cancelled = false;

    // False when it was not told of `sequence` within ten seconds.
    bool waitFor(std::int64_t sequence) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10), [&] {
            for (const std::int64_t one : told) {
                if (one == sequence) return true;
            }
            return false;
        });
    }
    std::vector<std::int64_t> soFar() {
        const std::lock_guard<std::mutex> lock(mutex);
        return told;
    }
};

class FakeSink : public Sink {
public:
    static std::vector<std::int64_t> idsOf(const std::vector<Incident>& incidents) {
        std::vector<std::int64_t> ids;
        for (const Incident& incident : incidents) ids.push_back(incident.id);
        return ids;
    }

    explicit FakeSink(std::shared_ptr<FakeTalk> talkIN) : talk(std::move(talkIN)) {}

    bool wants(const Record& record) const override { return !talk->wants || talk->wants(record); }
    std::size_t window() const override { return talk->window; }
    void knowOpen(const std::vector<Incident>& incidents) override {
        const std::lock_guard<std::mutex> lock(talk->mutex);
        talk->known = idsOf(incidents);
    }
    void keepOnly(const std::vector<Incident>& incidents) override {
        const std::lock_guard<std::mutex> lock(talk->mutex);
        talk->stillOpen.push_back(idsOf(incidents));
    }
    void tick() override {
        const std::lock_guard<std::mutex> lock(talk->mutex);
        ++talk->ticks;
    }
    void cancel() override {
        const std::lock_guard<std::mutex> lock(talk->mutex);
        talk->cancelled = true;
        talk->changed.notify_all();
    }
    Answer deliver(const Record& record, const std::string& id) override {
        Answer answer{Answer::Kind::kDelivered, "ok"};
        {
            const std::lock_guard<std::mutex> lock(talk->mutex);
            talk->told.push_back(record.sequence);
            talk->ids.push_back(id);
            if (!talk->answers.empty()) {
                answer = talk->answers.front();
                talk->answers.pop_front();
            }
            talk->changed.notify_all();
        }
        return talk->reply ? talk->reply(record) : answer;
    }

private:
    std::shared_ptr<FakeTalk> talk;
};

// Lines for people, from any thread.
struct KeptNotes {
    std::mutex mutex;
    std::vector<std::string> lines;

    std::function<void(const std::string&)> keeper() {
        return [this](const std::string& line) {
            const std::lock_guard<std::mutex> lock(mutex);
            lines.push_back(line);
        };
    }
    std::vector<std::string> all() {
        const std::lock_guard<std::mutex> lock(mutex);
        return lines;
    }
};

#endif  // TESTS_AGENT_SINKFIXTURE_H

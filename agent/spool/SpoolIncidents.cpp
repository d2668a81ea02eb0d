#include "agent/spool/Spool.h"

#include <nlohmann/json.hpp>

#include "agent/incidents/IncidentJson.h"
#include "agent/spool/SpoolDatabase.h"
#include "agent/spool/StoredJson.h"

namespace {

// The columns hold whatever a damaged body has lost.
std::vector<Incident> incidentsOf(Statement& rows) {
    std::vector<Incident> found;
    while (rows.step()) {
        Incident incident = incidentFromJson(fromStoredJson(rows.text(3)));
        incident.id = rows.number(0);
        incident.open = rows.number(1) != 0;
        incident.resolvedAt = rows.number(2);
        found.push_back(incident);
    }
    return found;
}

constexpr char kIncidents[] = "SELECT id, open, resolved_at, body FROM incidents";

}  // namespace

void Spool::Database::storeIncident(const Incident& incident) {
    sql.prepared("INSERT OR REPLACE INTO incidents VALUES (?, ?, ?, ?)")
        .bind(1, incident.id)
        .bind(2, incident.open ? 1 : 0)
        .bind(3, incident.resolvedAt)
        .bind(4, storedJson(incidentJson(incident)))
        .run();
    if (incident.id > number(spool::kLastIncident)) {
        setNumber(spool::kLastIncident, incident.id);
    }
}

std::vector<Incident> Spool::openIncidents() const {
    return base().doing("read", [&] {
        return incidentsOf(
            base().sql.prepared(std::string(kIncidents) + " WHERE open = 1 ORDER BY id"));
    });
}

std::vector<Incident> Spool::incidentsSince(std::int64_t time) const {
    return base().doing("read", [&] {
        return incidentsOf(base()
                               .sql
                               .prepared(std::string(kIncidents) +
                                         " WHERE open = 1 OR resolved_at >= ? ORDER BY id")
                               .bind(1, time));
    });
}

std::int64_t Spool::lastIncident() const {
    return base().doing("read", [&] { return base().number(spool::kLastIncident); });
}

void Spool::putIncident(const Incident& incident) {
    std::int64_t highest = 0;
    base().writing([&] {
        base().storeIncident(incident);
        highest = base().number(spool::kLastIncident);
    });
    base().high.raise({0, highest});
}

std::vector<Silence> Spool::silences() const {
    std::vector<Silence> found;
    base().doing("read", [&] {
        Statement& rows = base().sql.prepared("SELECT id, until, body FROM silences ORDER BY id");
        while (rows.step()) {
            Silence silence = silenceFromJson(fromStoredJson(rows.text(2)));
            silence.id = rows.number(0);
            silence.until = rows.number(1);
            found.push_back(silence);
        }
    });
    return found;
}

std::int64_t Spool::addSilence(const Silence& silence) {
    std::int64_t id = 0;
    base().writing([&] {
        base()
            .sql.prepared("INSERT INTO silences (until, body) VALUES (?, ?)")
            .bind(1, silence.until)
            .bind(2, storedJson(silenceJson(silence)))
            .run();
        id = base().sql.number("SELECT last_insert_rowid()");
    });
    return id;
}

bool Spool::removeSilence(std::int64_t id) {
    bool removed = false;
    base().writing([&] {
        base().sql.prepared("DELETE FROM silences WHERE id = ?").bind(1, id).run();
        removed = base().sql.changedRows() > 0;
    });
    return removed;
}

// StateLook: how a state is shown: its tone, and the shape that says the same without colour.
//
//   const Tone tone = toneOfDrive(drive);
//   addIcon(html, tone);                       // <svg class="icon"><use href="#i-bad"/></svg>
//
// Pure functions and tables; any thread.
#ifndef AGENT_PAGE_STATELOOK_H
#define AGENT_PAGE_STATELOOK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "agent/incidents/Incident.h"
#include "agent/page/Html.h"
#include "agent/spool/Record.h"
#include "agent/state/MachineState.h"
#include "agent/state/Verdict.h"

enum class Tone { kGood, kIdle, kTask, kWarn, kBad, kUnknown };

// Also the class in the style sheet, "t-bad", and the shape, "#i-bad".
const char* toneWord(Tone tone);  // "good", "idle", "task", "warn", "bad", "unknown"

std::size_t rankOfArray(const ArrayState& array);  // 0 is worst
Tone toneOfArray(const ArrayState& array);
Tone toneOfDrive(const DriveState& drive);
Tone toneOfMember(const MemberState& member);
Tone toneOfState(std::string_view word);  // of an enclosure, an element or a controller
Tone toneOfVerdict(Verdict::Level level);
Tone toneOfSeverity(int severity);  // an EnumEventType

// "failed, foretells its failure"
std::string driveStateWords(const DriveState& drive);

void addIcon(Html& html, Tone tone);
// "#i-bad"
std::string iconPath(Tone tone);
// The shapes, once per document.
void addIconShapes(Html& html);

// "<time datetime=... title=...>12:34</time>"
void addClock(Html& html, std::int64_t when, std::int64_t now);
// A span that the script keeps up to date: "3 min 2 s".
void addAge(Html& html, std::int64_t when, std::int64_t now);
// "12:34", with the date when it is not of this day: "11-20 12:34". Local time.
std::string clockText(std::int64_t when, std::int64_t now);

// A link to the page of that object, or the name alone when it has none.
void addObjectLink(Html& html, bool known, std::string_view key, std::string_view name);

std::string sizeWords(std::int64_t megabytes);  // "" when it is not known
std::string degreesWords(int celsius);          // with their sign; the same

#endif  // AGENT_PAGE_STATELOOK_H

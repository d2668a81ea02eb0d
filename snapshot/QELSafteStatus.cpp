#include "snapshot/QELSafteStatus.h"

#include <cstring>

#include "snapshot/ElementReader.h"
#include "storlib/SafteStatus.h"

namespace {

constexpr std::size_t kByteCount = 2 * QELSafteStatus::kUnits + QELSafteStatus::kSlots + 2;

// "fan0" to "fan31", "powerSupply0" to "powerSupply31", "slot0" to "slot63", "tempFlags1" and
// "tempFlags2", in the order in which they are written and read.
struct ByteNames {
    char text[kByteCount][16];

    constexpr ByteNames() : text{} {
        std::size_t row = 0;
        for (int i = 0; i < QELSafteStatus::kUnits; ++i) compose(text[row++], "fan", i);
        for (int i = 0; i < QELSafteStatus::kUnits; ++i) compose(text[row++], "powerSupply", i);
        for (int i = 0; i < QELSafteStatus::kSlots; ++i) compose(text[row++], "slot", i);
        for (int i = 1; i <= 2; ++i) compose(text[row++], "tempFlags", i);
    }

    static constexpr void compose(char (&to)[16], char const* word, int number) {
        std::size_t at = 0;
        for (; word[at] != 0; ++at) to[at] = word[at];
        if (number >= 10) to[at++] = static_cast<char>('0' + number / 10);
        to[at] = static_cast<char>('0' + number % 10);
    }
};

constexpr ByteNames kNames;

// The byte that belongs to a name.
template <class Status>
auto& byteAt(Status& status, std::size_t row) {
    constexpr std::size_t kUnits = QELSafteStatus::kUnits;
    constexpr std::size_t kSlots = QELSafteStatus::kSlots;
    if (row < kUnits) return status.fanStatus[row];
    if (row < 2 * kUnits) return status.powerSupplyStatus[row - kUnits];
    if (row < 2 * kUnits + kSlots) return status.slotDeviceID[row - 2 * kUnits];
    return row == 2 * kUnits + kSlots ? status.tempFlags1 : status.tempFlags2;
}

template <std::size_t Row>
void asByte(QELSafteStatus& status, const XmlAttributeList_C& list, std::uint32_t place) {
    byteAt(status, Row) = static_cast<unsigned char>(list.GetLong(place));
}

struct ByteRows {
    AttributeRow<QELSafteStatus> rows[kByteCount];

    template <std::size_t... Row>
    constexpr explicit ByteRows(std::index_sequence<Row...>)
        : rows{{kNames.text[Row], asByte<Row>}...} {}
};

constexpr ByteRows kAttributes{std::make_index_sequence<kByteCount>()};

template <class Source>
void copyBytes(QELSafteStatus& to, const Source& from) {
    to.addr = from.addr;
    for (std::size_t row = 0; row < kByteCount; ++row) byteAt(to, row) = byteAt(from, row);
}

}  // namespace

QELSafteStatus::QELSafteStatus() {
    std::memset(fanStatus, kUnknown, sizeof fanStatus);
    std::memset(powerSupplyStatus, kUnknown, sizeof powerSupplyStatus);
    std::memset(slotDeviceID, kNoDevice, sizeof slotDeviceID);
}

QELSafteStatus::QELSafteStatus(const QELSafteStatus& other) : RaidObject() {
    copyBytes(*this, other);
}

bool QELSafteStatus::isInstanceOf(char const* name) const {
    return isNamed(name, "QELSafteStatus");
}

char const* QELSafteStatus::typeName() const { return "SafteStatus"; }

char const* QELSafteStatus::serializedName() const { return "SafteStatus"; }

void QELSafteStatus::writeTo(Writer* writer) const {
    for (std::size_t row = 0; row < kByteCount; ++row) {
        writer->writeInt(kNames.text[row], byteAt(*this, row));
    }
}

void QELSafteStatus::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readAndStore(*this, parser, "SafteStatus", attributes, {}, kAttributes.rows);
}

void QELSafteStatus::build(SafteStatus* source) {
    if (source != nullptr) copyBytes(*this, *source);
}

void QELSafteStatus::build(QELSafteStatus* source) {
    if (source != nullptr) copyBytes(*this, *source);
}

unsigned char QELSafteStatus::getFanStatus(unsigned short fan) const {
    return fan < kUnits ? fanStatus[fan] : kUnknown;
}

unsigned char QELSafteStatus::getPowerSupplyStatus(unsigned short supply) const {
    return supply < kUnits ? powerSupplyStatus[supply] : kUnknown;
}

bool QELSafteStatus::isTempOutOfRange() const { return tempFlags1 != 0 || tempFlags2 != 0; }

int QELSafteStatus::getSlotNumberFromDeviceID(int deviceID) const {
    for (int slot = 0; slot < kSlots; ++slot) {
        if (slotDeviceID[slot] == deviceID) return slot;
    }
    return kNotFound;
}

int QELSafteStatus::getDeviceIDFromSlotNumber(int slot) const {
    return slot >= 0 && slot < kSlots ? slotDeviceID[slot] : kNotFound;
}

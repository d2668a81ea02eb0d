#include "agent/JsonWriter.h"

#include <string>

namespace {

// "Not set" is null for whoever reads JSON.
template <class Number>
nlohmann::ordered_json numberOrNull(Number value) {
    return value == 0x7fffffff ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(value);
}

}  // namespace

void JsonWriter::writeChar(char const* name, char value) { object[name] = std::string(1, value); }
void JsonWriter::writeUChar(char const* name, unsigned char value) { object[name] = value; }
void JsonWriter::writeLong(char const* name, long value) { object[name] = numberOrNull(value); }
void JsonWriter::writeULong(char const* name, unsigned long value) {
    object[name] = numberOrNull(value);
}
void JsonWriter::writeShort(char const* name, short value) { object[name] = value; }
void JsonWriter::writeUShort(char const* name, unsigned short value) { object[name] = value; }
void JsonWriter::writeInt(char const* name, int value) { object[name] = numberOrNull(value); }
void JsonWriter::writeUInt(char const* name, unsigned int value) {
    object[name] = numberOrNull(value);
}
void JsonWriter::writeUIntHex(char const* name, unsigned int value) { object[name] = value; }
void JsonWriter::writeFloat(char const* name, float value) { object[name] = value; }
void JsonWriter::writeDouble(char const* name, double value) { object[name] = value; }
void JsonWriter::writeU64(char const* name, unsigned long long value) { object[name] = value; }
void JsonWriter::writeI64(char const* name, long long value) { object[name] = value; }
void JsonWriter::writeBlockT(char const* name, unsigned long long value) { object[name] = value; }
void JsonWriter::writeBool(char const* name, bool value) { object[name] = value; }
void JsonWriter::writeString(char const* name, char const* value) {
    object[name] = value == nullptr ? "" : value;
}
void JsonWriter::writeASCIIString(char const* name, char* value) { writeString(name, value); }

// Attributes only: see the header.
void JsonWriter::writeObject(RaidObject const*) {}
void JsonWriter::writeObject(RaidObject const&) {}
void JsonWriter::writeObject(Addr const* address) { writeAddr(address); }
void JsonWriter::writeObject(Addr const& address) { writeAddr(address); }
void JsonWriter::writeAddr(Addr const* address) {
    if (address != nullptr) writeAddrDefinedIDsOnly(*address);
}
void JsonWriter::writeAddr(Addr const& address) { writeAddrDefinedIDsOnly(address); }
void JsonWriter::writeAddrDefinedIDsOnly(Addr const& at) {
    const auto identifier = [this](const char* name, unsigned int value) {
        if (value != Addr::kNotSet) object[name] = value;
    };
    identifier("controllerID", at.controllerID);
    identifier("arrayID", at.arrayID);
    identifier("logicalDriveID", at.logicalDriveID);
    identifier("channelID", at.channelID);
    identifier("deviceID", at.deviceID);
    if (at.chunkID != Addr::kChunkNotSet) object["chunkID"] = at.chunkID;
    identifier("itemID", at.itemID);
    identifier("phyID", at.phyID);
}
void JsonWriter::writeTree(RaidObject const*) {}
void JsonWriter::writeTree(RaidObject const&) {}
void JsonWriter::writeRawString(char const*) {}
void JsonWriter::writeBinary(char const*, char const*, unsigned long) {}
void JsonWriter::addTag(char const*) {}

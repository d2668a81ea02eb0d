// JsonWriter: collects the attributes of one storage object as members of a JSON object.
//
//   JsonWriter writer;
//   drive.writeTo(&writer);
//   const nlohmann::ordered_json& members = writer.members();
//
// It takes attributes only; nested objects and raw text are left to whoever walks the tree. Texts
// are kept as they are: invalid UTF-8 is replaced when the JSON is printed.
//
// Threads  As any value.
#ifndef AGENT_JSONWRITER_H
#define AGENT_JSONWRITER_H

#include <nlohmann/json.hpp>

#include "storlib/Writer.h"

class JsonWriter : public Writer {
public:
    const nlohmann::ordered_json& members() const { return object; }

    void writeChar(char const* name, char value) override;
    void writeUChar(char const* name, unsigned char value) override;
    void writeLong(char const* name, long value) override;
    void writeULong(char const* name, unsigned long value) override;
    void writeShort(char const* name, short value) override;
    void writeUShort(char const* name, unsigned short value) override;
    void writeInt(char const* name, int value) override;
    void writeUInt(char const* name, unsigned int value) override;
    void writeUIntHex(char const* name, unsigned int value) override;
    void writeFloat(char const* name, float value) override;
    void writeDouble(char const* name, double value) override;
    void writeU64(char const* name, unsigned long long value) override;
    void writeI64(char const* name, long long value) override;
    void writeBlockT(char const* name, unsigned long long value) override;
    void writeBool(char const* name, bool value) override;
    void writeString(char const* name, char const* value) override;
    void writeASCIIString(char const* name, char* value) override;
    void writeObject(RaidObject const* object) override;
    void writeObject(RaidObject const& object) override;
    void writeObject(Addr const* address) override;
    void writeObject(Addr const& address) override;
    void writeAddr(Addr const* address) override;
    void writeAddrDefinedIDsOnly(Addr const& address) override;
    void writeAddr(Addr const& address) override;
    void writeTree(RaidObject const* object) override;
    void writeTree(RaidObject const& object) override;
    void writeRawString(char const* text) override;
    void writeBinary(char const* name, char const* data, unsigned long size) override;
    void addTag(char const* text) override;

private:
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
};

#endif  // AGENT_JSONWRITER_H

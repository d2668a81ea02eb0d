// Writer: what a storage object writes itself to. An object calls one operation per attribute;
// the writer supplies element names, nesting and layout. XMLWriter is the one in this system.
//
// `name` is the attribute name and is never null; a null text value counts as "". The order of
// the operations is the order of the slots in the table of virtual operations.
#ifndef STORLIB_WRITER_H
#define STORLIB_WRITER_H

#include "storlib/Addr.h"

class RaidObject;

class Writer {
public:
    virtual ~Writer() = default;

    virtual void writeChar(char const* name, char value) = 0;
    virtual void writeUChar(char const* name, unsigned char value) = 0;
    virtual void writeLong(char const* name, long value) = 0;
    virtual void writeULong(char const* name, unsigned long value) = 0;
    virtual void writeShort(char const* name, short value) = 0;
    virtual void writeUShort(char const* name, unsigned short value) = 0;
    virtual void writeInt(char const* name, int value) = 0;
    virtual void writeUInt(char const* name, unsigned int value) = 0;
    virtual void writeUIntHex(char const* name, unsigned int value) = 0;
    virtual void writeFloat(char const* name, float value) = 0;
    virtual void writeDouble(char const* name, double value) = 0;
    virtual void writeU64(char const* name, unsigned long long value) = 0;
    virtual void writeI64(char const* name, long long value) = 0;
    virtual void writeBlockT(char const* name, unsigned long long value) = 0;
    virtual void writeBool(char const* name, bool value) = 0;
    virtual void writeString(char const* name, char const* value) = 0;
    // Clears bit 7 of every byte of the caller's text, in place, before it is written.
    virtual void writeASCIIString(char const* name, char* value) = 0;
    virtual void writeObject(RaidObject const* object) = 0;
    virtual void writeObject(RaidObject const& object) = 0;
    virtual void writeObject(Addr const* address) = 0;
    virtual void writeObject(Addr const& address) = 0;
    virtual void writeAddr(Addr const* address) = 0;
    virtual void writeAddrDefinedIDsOnly(Addr const& address) = 0;
    virtual void writeAddr(Addr const& address) = 0;
    virtual void writeTree(RaidObject const* object) = 0;
    virtual void writeTree(RaidObject const& object) = 0;
    virtual void writeRawString(char const* text) = 0;
    virtual void writeBinary(char const* name, char const* data, unsigned long size) = 0;
    virtual void addTag(char const* text) = 0;
};

#endif  // STORLIB_WRITER_H

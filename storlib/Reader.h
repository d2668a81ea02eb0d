// Reader: what a storage object can fill its attributes from; the counterpart of Writer.
//
// Each operation looks up one attribute by name. It returns false, and leaves `value` as it was,
// when the attribute is absent; numbers that do not fit are cut to the type's range.
#ifndef STORLIB_READER_H
#define STORLIB_READER_H

class Reader {
public:
    virtual ~Reader() = default;

    virtual bool readInt(char const* name, int& value) = 0;
    virtual bool readUInt(char const* name, unsigned int& value) = 0;
    virtual bool readI64(char const* name, long long& value) = 0;
    virtual bool readBool(char const* name, bool& value) = 0;
    // Copies at most size - 1 characters and always ends the text with NUL.
    virtual bool readString(char const* name, char* value, unsigned long size) = 0;
};

#endif  // STORLIB_READER_H

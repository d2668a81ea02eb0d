// Attributes: how a storage object names its attributes once and both writes and reads them.
//
//   template <class Self, class Visitor>
//   void visit(Self& self, Visitor& v) {
//       v.integer("state", self.state);
//       v.text("model", self.model);
//   }
//   void Kind::writeTo(Writer* writer) const {
//       AttributeWriter v{writer};
//       visit(*this, v);
//   }
//   void Kind::readFrom(Reader* reader) {
//       AttributeReader v{reader};
//       visit(*this, v);
//   }
//
// Numbers are signed decimals, because whoever reads them converts at 32 signed bits; texts are
// device texts and are written as 7-bit ASCII, so that no byte of a drive can end a file early.
#ifndef STORLIB_ATTRIBUTES_H
#define STORLIB_ATTRIBUTES_H

#include <cstddef>
#include <cstring>
#include <utility>

#include "storlib/Reader.h"
#include "storlib/Writer.h"

namespace detail {

template <std::size_t N, std::size_t... Places>
bool isLiteral(char const* asked, char const (&name)[N], std::index_sequence<Places...>) {
    return ((asked[Places] == name[Places]) && ...);
}

}  // namespace detail

// Whether `asked` is the literal `name`. Asked of every object of every poll, and mostly told by
// the first character: compared in place, because a call costs more than that.
template <std::size_t N>
bool isNamed(char const* asked, char const (&name)[N]) {
    return asked != nullptr && detail::isLiteral(asked, name, std::make_index_sequence<N>());
}

// Copies `text` (null counts as "") into a fixed field, cut at the field's size and always ended
// with NUL.
template <std::size_t N>
void setText(char (&field)[N], char const* text) {
    const std::size_t length = text == nullptr ? 0 : strnlen(text, N - 1);
    if (length != 0) std::memmove(field, text, length);
    std::memset(field + length, 0, N - length);
}

struct AttributeWriter {
    Writer* writer;

    template <class Number>
    void integer(char const* name, Number value) {
        writer->writeInt(name, static_cast<int>(value));
    }
    void flag(char const* name, bool value) { writer->writeBool(name, value); }
    template <std::size_t N>
    void text(char const* name, char const (&value)[N]) {
        char copy[N];  // the writer clears bit 7 in place; the object's own text stays
        std::memcpy(copy, value, N);
        copy[N - 1] = 0;
        writer->writeASCIIString(name, copy);
    }
    // Sizes of drives pass 31 bits; the digits are written whole.
    void wide(char const* name, long long value) { writer->writeI64(name, value); }
};

struct AttributeReader {
    Reader* reader;

    template <class Number>
    void integer(char const* name, Number& value) {
        int number = 0;
        if (reader->readInt(name, number)) value = static_cast<Number>(number);
    }
    void flag(char const* name, bool& value) { (void)reader->readBool(name, value); }
    template <std::size_t N>
    void text(char const* name, char (&value)[N]) {
        (void)reader->readString(name, value, N);
    }
    void wide(char const* name, long long& value) { (void)reader->readI64(name, value); }
};

#endif  // STORLIB_ATTRIBUTES_H

// NLSParser: turns a key into the text of a message; also reads the settings file.
//
// The file is never kept in memory. Every lookup reads it afresh from its start, so that a file
// edited in place is seen by the very next lookup, and there is no cache that could go stale. A
// file that is replaced by another of the same name is seen after resetParser().
//
// FILE       One entry per line; lines end at a line feed or at the end of the file.
//                # a comment
//                key=value        key = value        key<tab>= value
//            A key stands in the first column, with a blank, a tab or "=" right after it; the value
//            is everything after the first "=" from there on, trimmed of blanks and tabs. The
//            first entry of a key counts. A line "key value" without "=" is an entry with an empty
//            value. A carriage return belongs to the value. There are no escapes and no
//            continuation lines, and bytes are passed through as they are.
// TEXT       "{0}" to "{9}" stand for arguments, "%key%" for the value of another key:
//                get("k", {"A", "B"})  of  k=x {1} y {0}     "x B y A"
//                get("k", {})          of  k=hello %p%       "hello world", with p=world
//            An argument that is missing and a phrase that is unknown disappear.
//
// Ownership  The open file belongs to the parser.
// Threads    None inside: lookups share a buffer, one thread at a time.
// Errors     What cannot be found or read is "". std::out_of_range leaves a lookup when a line that
//            it passes is exactly the key, and when a text ends in "{". An argument "{0}" as
//            argument 0 and a phrase that names itself never end: the catalogue's author sees to
//            it that there are none.
#ifndef NLS_NLSPARSER_H
#define NLS_NLSPARSER_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

class NLSParser {
public:
    NLSParser() = default;
    // Opens the file; a missing one, and one that is no plain file, is not reported. An empty name
    // is no file.
    explicit NLSParser(const std::string& name);
    ~NLSParser();
    NLSParser(const NLSParser&) = delete;
    NLSParser& operator=(const NLSParser&) = delete;

    // Goes over to another file, or opens the same anew. The name is kept even when the file cannot
    // be opened: each lookup tries again. An empty name leaves everything as it is.
    void resetParser(const std::string& name);

    // The value as it stands in the file.
    std::string get(const std::string& key);
    // The value with its phrases and then its placeholders filled in.
    std::string get(const std::string& key, const std::vector<std::string>& args);
    std::string get(const std::string& key, const std::vector<int>& args);

    // Fills placeholders in place. Exactly three characters are taken out for each, so "{12}"
    // leaves its "}" behind. An argument that has placeholders is filled in turn.
    static void parse(std::string& text, const std::vector<std::string>& args);

    // Expands "%key%" in place where the first "%" begins the text or follows a blank. Phrases
    // inside an inserted value are expanded in turn.
    void replacePhraseStrings(std::string& text);

    // Without leading and trailing blanks and tabs, except that one kind is taken off after the
    // other at the end: "x \t" keeps its blank.
    static std::string trim(const std::string& text);

    // Digits in base 2 to 16, "" in any other; the sign is written in base 10 only. The value is
    // taken as 32 bits on every host.
    static std::string itoa(int value, int base);
    static std::string ltoa(long value, int base);
    static std::string reverse(std::string text);

private:
    struct Block;

    bool lookUp(const std::string& key, std::string& value);
    bool searchLines(Block& block, const std::string& key, std::string& value);
    bool searchRest(Block& block, const std::string& key, std::string& value);
    bool readMore(Block& block);
    void useBuffer(std::size_t size, std::size_t start, std::size_t kept);
    void closeFile();

    std::string fileName;
    int file = -1;                   // descriptor, kept open between lookups; -1: not open
    std::size_t capacity = 0;        // of `buffer`
    std::unique_ptr<char[]> buffer;  // reused by every lookup; nothing in it outlives one
};

#endif  // NLS_NLSPARSER_H

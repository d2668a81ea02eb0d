// SafeText: text that came from hardware or from a file, made fit to be shown on a terminal.
//
// A drive may call itself anything. Bytes that would move the cursor, change colours, reorder the
// line or are no UTF-8 at all are written out as escapes, so that a line stays one line and shows
// what is really there:
//
//   safeText("disk\x1b[2J")   gives   disk\x1b[2J      (four visible characters for the escape)
//   safeText("\xff")          gives   \xff
//
// Pure functions; any thread.
#ifndef AGENT_SAFETEXT_H
#define AGENT_SAFETEXT_H

#include <cstddef>
#include <string>
#include <vector>

// Control characters (C0, DEL, C1), line and paragraph separators, bidirectional controls and
// invalid UTF-8 become \xNN, \n, \r, \t or \u{NNNN}. A backslash stays: texts are for reading.
std::string safeText(const std::string& raw);

// Columns that valid UTF-8 text takes on a terminal: two for each Chinese, Japanese or Korean
// character, one for every other.
std::size_t textWidth(const std::string& text);

// The first characters of valid UTF-8 text, as many as fit into `width` columns.
std::string cutText(const std::string& text, std::size_t width);

// One cell of a table, from hardware or a file: made safe, and exactly `width` columns; "-" when
// there is nothing to show, cut with "~" when there is too much.
std::string tableCell(const std::string& raw, std::size_t width);

// Breaks `text` at blanks into lines of at most `width` columns; a word longer than that is cut.
// Never empty: "" gives one empty line. A width of 0 means no limit.
std::vector<std::string> wrapText(const std::string& text, std::size_t width);

#endif  // AGENT_SAFETEXT_H

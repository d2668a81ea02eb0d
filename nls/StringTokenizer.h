// StringTokenizer: cuts a text at a delimiter, which is matched as a whole.
//
// Empty tokens are dropped, so runs of delimiters and delimiters at either end yield nothing.
//
// Ownership  Copies what it is given.   Threads  As any value.   Errors  None.
//
//   StringTokenizer tokens("a,,b,", ",");
//   while (tokens.hasMoreTokens()) use(tokens.nextToken());  // "a", "b"
#ifndef NLS_STRINGTOKENIZER_H
#define NLS_STRINGTOKENIZER_H

#include <cstddef>
#include <string>
#include <vector>

class StringTokenizer {
public:
    StringTokenizer(const std::string& text, const std::string& separator);

    int countTokens() const;  // those not yet taken
    bool hasMoreTokens() const { return countTokens() != 0; }
    std::string nextToken();  // "" when none is left

private:
    void construct();

    std::string remaining;  // what is not cut yet; empty after construction
    std::string delimiter;
    std::vector<std::string> tokens;
    std::size_t taken = 0;  // how many of them are gone
};

#endif  // NLS_STRINGTOKENIZER_H

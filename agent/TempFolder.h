// TempFolder: a private folder below $TMPDIR (or /tmp) that goes, with all it holds, at the end of
// the scope. Only this user can enter it. Throws Failure when it cannot be made.
#ifndef AGENT_TEMPFOLDER_H
#define AGENT_TEMPFOLDER_H

#include <string>

class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    // Absolute, free of symbolic links, without a final "/".
    const std::string& path() const { return folder; }

private:
    std::string folder;
};

#endif  // AGENT_TEMPFOLDER_H

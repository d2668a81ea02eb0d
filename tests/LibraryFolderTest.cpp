#include "monitor/LibraryFolder.h"

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"

namespace {

struct MapCase {
    const char* when;
    const char* map;
    const char* folder;
};

// clang-format off
const MapCase kMaps[] = {
    {"the library is mapped",
     "08048000-08049000 r-xp 00000000 08:01 99 /bin/host\n"
     "f7c00000-f7d00000 r--p 00000000 08:01 12 /opt/x/libQEL.so\n",
     "/opt/x/"},
    {"it is mapped under a versioned name",
     "7f0000000000-7f0000001000 r--p 00000000 fe:00 7          /usr/lib/qel/libQEL.so.0\n",
     "/usr/lib/qel/"},
    {"the first of several lines counts",
     "1-2 r--p 0 0:0 1 /a/libQEL.so\n1-2 r--p 0 0:0 1 /b/libQEL.so\n",
     "/a/"},
    {"the path holds blanks",
     "1-2 r--p 0 0:0 1 /opt/my folder/libQEL.so\n",
     "/opt/my folder/"},
    {"the file was replaced while it is in use",
     "1-2 r--p 0 0:0 1 /opt/x/libQEL.so (deleted)\n",
     "/opt/x/"},
    {"the last line has no line feed",
     "1-2 r--p 0 0:0 1 /opt/x/libQEL.so",
     "/opt/x/"},
    {"it lies in the root folder",
     "1-2 r--p 0 0:0 1 /libQEL.so\n",
     "/"},
    {"no line names it", "1-2 r-xp 0 0:0 1 /bin/host\n", "./"},
    {"the map is empty", "", "./"},
    {"the line has no path", "1-2 r--p 0 0:0 1 libQEL.so\n", "./"},
    {"the line has no path, but a later one has",
     "1-2 r--p 0 0:0 1 libQEL.so\n1-2 r--p 0 0:0 1 /opt/x/libQEL.so\n",
     "./"},
    {"another file's path has the name, and comes first",
     "1-2 r--p 0 0:0 1 /src/libQEL/bin/host\n1-2 r--p 0 0:0 1 /opt/x/libQEL.so\n",
     "/src/libQEL/bin/"},
    {"permissions stand behind the first slash", "/1-2 r-xp 0 0:0 1 /opt/libQEL.so\n", "./"},
};
// clang-format on

TEST(LibraryFolder, FollowsTheProcessMap) {
    for (const MapCase& c : kMaps) {
        SCOPED_TRACE(c.when);
        const TempDir dir;
        EXPECT_EQ(c.folder, libraryFolder(dir.write("maps", c.map).c_str()));
    }
}

TEST(LibraryFolder, GivenNoReadableMapThenTheWorkingFolder) {
    const TempDir dir;
    EXPECT_EQ("./", libraryFolder(dir.file("missing").c_str()));
}

TEST(LibraryFolder, GivenALineBeyondTheLimitThenItsPiecesAreLinesOfTheirOwn) {
    const TempDir dir;
    // The name begins after the 1000th character: the piece that holds it has no slash.
    const std::string line = std::string(990, 'x') + "/opt/deep/" + "libQEL.so\n";
    EXPECT_EQ("./", libraryFolder(dir.write("maps", line).c_str()));
}

TEST(LibraryFolder, GivenAStaticLinkThenTheWorkingFolder) {
    EXPECT_EQ("./", libraryFolder("/proc/self/maps"));
}

}  // namespace

#include "storlib/sources/SourceRegistry.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "storlib/ConfigSource.h"
#include "storlib/sources/LinuxSource.h"
#include "storlib/sources/ReplaySource.h"
#include "tests/support/LinuxMachine.h"
#include "tests/support/SysTree.h"

namespace {

template <class Kind>
bool isA(const std::unique_ptr<ConfigSource>& source) {
    return dynamic_cast<const Kind*>(source.get()) != nullptr;
}

TEST(SourceRegistry, GivenTheNameOfAKindThenItMakesThatSource) {
    SysTree tree(LinuxMachine::drives());
    std::string error = "untouched";
    EXPECT_TRUE(isA<LinuxSource>(SourceRegistry::make("linux", error)));
    EXPECT_TRUE(isA<LinuxSource>(SourceRegistry::make("linux:", error)));
    EXPECT_TRUE(isA<LinuxSource>(SourceRegistry::make("linux:/", error)));
    EXPECT_TRUE(isA<LinuxSource>(SourceRegistry::make("linux:" + tree.folder(), error)));
    EXPECT_TRUE(isA<ReplaySource>(SourceRegistry::make("replay:" + tree.folder(), error)));
    EXPECT_EQ("untouched", error);
}

TEST(SourceRegistry, GivenAnUnknownKindThenTheErrorNamesTheKnownOnes) {
    for (const char* name : {"", "Linux", "linux /", "lin", ":linux", "windows:C:"}) {
        std::string error;
        EXPECT_EQ(nullptr, SourceRegistry::make(name, error)) << name;
        const std::string kind = std::string(name).substr(0, std::string(name).find(':'));
        EXPECT_EQ(0U, error.find("unknown source \"" + kind + "\"; use one of linux:")) << error;
        EXPECT_NE(std::string::npos, error.find("replay:PATH"));
        EXPECT_EQ(std::string::npos, error.find('\n'));
    }
}

TEST(SourceRegistry, GivenAnArgumentThatCannotBeUsedThenTheErrorIsTheKindsOwn) {
    SysTree tree;
    std::string error;
    EXPECT_EQ(nullptr, SourceRegistry::make("linux:" + tree.folder() + "no", error));
    EXPECT_EQ("cannot read " + tree.folder() +
                  "no: No such file or directory; name a folder that "
                  "you may read and that holds sys and proc",
              error);
    EXPECT_EQ(nullptr, SourceRegistry::make("replay", error));
    EXPECT_EQ("name the folder of a recording: replay:PATH", error);
}

TEST(SourceRegistry, GivenTheListOfKindsThenEachSaysWhatItIsFor) {
    for (const SourceRegistry::Kind& kind : SourceRegistry::kinds()) {
        EXPECT_STRNE("", kind.name);
        EXPECT_STRNE("", kind.argument);
        EXPECT_STRNE("", kind.purpose);
        EXPECT_EQ(std::string::npos, std::string(kind.name).find(':'));
    }
}

}  // namespace

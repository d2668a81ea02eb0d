// A machine read with only so many descriptors: at each count either all of it is read, or the
// reading fails and says why. Never is it read in part, which would be told as drives that have
// gone.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "storlib/sources/LinuxSource.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/LinuxMachine.h"
#include "tests/support/SysTree.h"
#include "tests/support/SystemText.h"

namespace {

constexpr int kMostSpare = 100;

// While it lives, so many descriptors can be had and no more. For a child of its own.
class FewDescriptors {
public:
    explicit FewDescriptors(int spare) {
        rlimit limit{};
        EXPECT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
        limit.rlim_cur = highestInUse() + 1 + kMostSpare;
        EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
        for (int taken = 0; (taken = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;) {
            all.push_back(taken);
        }
        for (int i = 0; i < spare && !all.empty(); ++i) giveOneBack();
    }
    ~FewDescriptors() {
        while (!all.empty()) giveOneBack();
    }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

private:
    // Tests that ran before in this process may have left many open.
    static rlim_t highestInUse() {
        rlim_t highest = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            highest = std::max<rlim_t>(highest, std::stoul(entry.path().filename().string()));
        }
        return highest;
    }
    void giveOneBack() {
        (void)close(all.back());
        all.pop_back();
    }

    std::vector<int> all;
};

std::string machine() {
    return LinuxMachine::drives() + LinuxMachine::wholeArray("md0", "raid5", 3) +
           LinuxMachine::set("md0", "sync_action", "check") +
           LinuxMachine::set("md0", "sync_completed", "32768 / 65536");
}

// As a recording is read, and as the kernel's files are, of which the handles stay open.
enum class Reading { kRecording, kKernel };

// How a reading with only so many descriptors ends, and that it ends well.
bool isRead(LinuxSource& source, int spare, const std::string& whole) {
    std::string seen;
    Ret result;
    {
        const FewDescriptors few(spare);
        const SystemText text(source);
        result = text.result;
        if (result.status == Ret::kOk) seen = text.whole();
    }
    if (result.status == Ret::kOk) {
        EXPECT_EQ(whole, seen);
        return true;
    }
    EXPECT_EQ("the machine cannot be read whole: no descriptors or no memory left",
              source.lastError());
    return false;
}

void readWithEachCount(Reading reading) {
    SysTree tree(machine());
    LinuxSource undisturbed(tree.folder());
    const std::string whole = SystemText(undisturbed).whole();
    int failed = 0;
    bool readAtLast = false;
    for (int spare = 0; spare <= kMostSpare; ++spare) {
        SCOPED_TRACE(spare);
        LinuxSource source(tree.folder());
        if (reading == Reading::kKernel) source.getReader().keepHandles();
        readAtLast = isRead(source, spare, whole);
        if (!readAtLast) ++failed;
        // It goes on as soon as there are some.
        const SystemText later(source);
        EXPECT_EQ(Ret::kOk, later.result.status) << source.lastError();
        EXPECT_EQ(whole, later.whole());
    }
    EXPECT_LT(0, failed);
    EXPECT_TRUE(readAtLast);
}

TEST(DescriptorFault, GivenFewDescriptorsThenARecordingIsReadWholeOrNotAtAll) {
    inChild([] { readWithEachCount(Reading::kRecording); });
}

TEST(DescriptorFault, GivenFewDescriptorsThenAMachineIsReadWholeOrNotAtAll) {
    inChild([] { readWithEachCount(Reading::kKernel); });
}

// The handles that stayed open are given back, so that the next reading has them.
TEST(DescriptorFault, GivenFewDescriptorsForGoodThenTheSecondReadingOfAMachineIsWhole) {
    inChild([] {
        SysTree tree(machine());
        LinuxSource undisturbed(tree.folder());
        const std::string whole = SystemText(undisturbed).whole();
        LinuxSource source(tree.folder());
        source.getReader().keepHandles();
        EXPECT_FALSE(isRead(source, 4, whole));
        EXPECT_TRUE(isRead(source, 4, whole));
        EXPECT_TRUE(isRead(source, 4, whole));
    });
}

// The look between two readings, and the question how far a task is.
TEST(DescriptorFault, GivenFewDescriptorsThenNothingIsSaidToHaveChangedOrEnded) {
    inChild([] {
        SysTree tree(machine());
        const Addr array = Addr::ofLogicalDrive(0, 0);
        for (int spare = 0; spare <= kMostSpare; ++spare) {
            SCOPED_TRACE(spare);
            LinuxSource source(tree.folder());
            ASSERT_EQ(Ret::kOk, SystemText(source).result.status);
            std::string listing;
            ProgressCollection tasks;
            Ret asked;
            {
                const FewDescriptors few(spare);
                (void)source.events(0, 1, listing);
                (void)source.events(1, 1, listing);
                (void)source.events(0, 1, listing);
                asked = source.tasks(array, tasks);
            }
            EXPECT_EQ("", listing);
            if (asked.status == Ret::kOk) {
                ASSERT_EQ(1, tasks.getProgressCount());
                EXPECT_EQ(50U, tasks.getProgress(0)->getPercent());
            }
        }
    });
}

}  // namespace

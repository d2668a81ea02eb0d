// The tree: lists, look-up by address, ownership.
#include "storlib/RaidObject.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "storlib/Adapter.h"
#include "storlib/Channel.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/SASPhy.h"
#include "storlib/SATAChannel.h"
#include "storlib/SESElement.h"
#include "storlib/System.h"

namespace {

// Counts its own destructions.
class Counted : public RaidObject {
public:
    explicit Counted(int& deletions) : deleted(deletions) {}
    ~Counted() override { ++deleted; }

private:
    int& deleted;
};

// Notes what came below it.
class Listening : public RaidObject {
public:
    explicit Listening(std::vector<std::string>& log, const char* label)
        : notes(log), name(label) {}
    void descendantAdded(RaidObject* object) override {
        RaidObject::descendantAdded(object);
        notes.push_back(std::string(name) + ":" + std::to_string(object->addr.deviceID));
    }

private:
    std::vector<std::string>& notes;
    const char* name;
};

RaidObject* device(unsigned int deviceID) {
    auto* object = new RaidObject;
    object->addr.deviceID = deviceID;
    return object;
}

Addr deviceAddr(unsigned int deviceID) {
    Addr address;
    address.deviceID = deviceID;
    return address;
}

std::vector<unsigned int> deviceIDs(const std::vector<RaidObject*>& objects) {
    std::vector<unsigned int> ids;
    for (const RaidObject* object : objects) {
        ids.push_back(object == nullptr ? 999 : object->addr.deviceID);
    }
    return ids;
}

using Ids = std::vector<unsigned int>;

// One adapter with two channels of two drives each, a phy below every drive, and a logical drive.
class RaidObjectTree : public testing::Test {
protected:
    RaidObjectTree() {
        adapter = new Adapter;
        adapter->addr.controllerID = 0;
        system.addChild(adapter);
        for (unsigned int c = 0; c < 2; ++c) {
            auto* channel = new Channel(adapter);
            channel->addr.channelID = c;
            adapter->addChild(channel);
            channels.push_back(channel);
            for (unsigned int d = 0; d < 2; ++d) addDrive(channel, d);
        }
        auto* logical = new LogicalDrive(adapter);
        logical->addr.logicalDriveID = 5;
        adapter->addChild(logical);
    }

    HardDrive* addDrive(Channel* channel, unsigned int number) {
        auto* drive = new HardDrive(adapter, channel);
        drive->addr.deviceID = number;
        channel->addChild(drive);
        auto* phy = new SASPhy;
        phy->addr = drive->addr;
        phy->addr.phyID = 0;
        drive->addChild(phy);
        return drive;
    }

    RaidObject* find(unsigned int channel, unsigned int number) const {
        return system.getObject(0, Addr::kNotSet, Addr::kNotSet, channel, number);
    }

    System system;
    Adapter* adapter = nullptr;
    std::vector<Channel*> channels;
};

// --- children ---

TEST(RaidObject, ChildrenStandInTheOrderOfTheirAddition) {
    RaidObject parent;
    for (unsigned int id : {3u, 1u, 2u}) parent.addChild(device(id));
    EXPECT_EQ((Ids{3, 1, 2}), deviceIDs(parent.getChildren()));
    EXPECT_EQ(3ul, parent.getChildCount());
    EXPECT_EQ(&parent, parent.getChild(0)->getParent());
    EXPECT_EQ(1u, parent.getChild(1)->addr.deviceID);
    EXPECT_EQ(nullptr, parent.getChild(3));
    EXPECT_EQ(nullptr, parent.getParent());
}

TEST(RaidObject, ChildAddedAtAPlaceStandsInFrontOfTheOneThere) {
    RaidObject parent;
    parent.addChild(device(1), 0);
    parent.addChild(device(2), 0);
    parent.addChild(device(3), 1);
    parent.addChild(device(4), 3);
    parent.addChild(device(5), 77);
    EXPECT_EQ((Ids{2, 3, 1, 4, 5}), deviceIDs(parent.getChildren()));
}

TEST(RaidObject, NullChildKeepsAnEmptyPlace) {
    RaidObject parent;
    parent.addChild(device(1));
    parent.addChild(nullptr);
    parent.addChild(nullptr, 0);
    EXPECT_EQ((Ids{999, 1, 999}), deviceIDs(parent.getChildren()));
    EXPECT_EQ(nullptr, parent.getChild(0));
    EXPECT_EQ(nullptr, parent.getObject(deviceAddr(7)));
    EXPECT_EQ(parent.getChild(1), parent.getObject(deviceAddr(1)));
}

TEST(RaidObject, SortingUsesAddressesKeepsEqualOnesInOrderAndPutsHolesLast) {
    RaidObject parent;
    parent.addChild(nullptr);
    parent.addChild(device(2));
    auto* first = device(1);
    auto* second = device(1);
    parent.addChild(first);
    parent.addChild(second);
    parent.sortChildren();
    EXPECT_EQ((Ids{1, 1, 2, 999}), deviceIDs(parent.getChildren()));
    EXPECT_EQ(first, parent.getChild(0));
    EXPECT_EQ(second, parent.getChild(1));
}

TEST(RaidObject, EveryAncestorIsToldNearestFirst) {
    std::vector<std::string> notes;
    Listening root(notes, "root");
    auto* branch = new Listening(notes, "branch");
    root.addChild(branch);
    notes.clear();
    branch->addChild(device(4));
    EXPECT_EQ((std::vector<std::string>{"branch:4", "root:4"}), notes);
    notes.clear();
    branch->addChild(nullptr);
    EXPECT_TRUE(notes.empty());
}

TEST(RaidObject, SesElementHandsItsItemNumberToWhatIsAddedBelow) {
    SESElement element;
    element.addr.itemID = 7;
    auto* phy = new SASPhy;
    element.addChild(phy);
    EXPECT_EQ(7u, phy->addr.itemID);
    auto* late = new SASPhy;
    phy->addChild(late);
    EXPECT_EQ(7u, late->addr.itemID);
}

// --- lists by kind ---

TEST_F(RaidObjectTree, ListByKindIsInTreeOrder) {
    std::vector<RaidObject*> drives;
    system.getChildren(drives, "HardDrive", true, true);
    EXPECT_EQ((Ids{0, 1, 0, 1}), deviceIDs(drives));
    EXPECT_EQ(1u, drives[2]->addr.channelID);

    std::vector<RaidObject*> phys;
    system.getChildren(phys, "SASPhy", true, true);
    EXPECT_EQ(4u, phys.size());
}

TEST_F(RaidObjectTree, ListIsAppendedTo) {
    std::vector<RaidObject*> found{&system};
    system.getChildren(found, "LogicalDrive", true, true);
    ASSERT_EQ(2u, found.size());
    EXPECT_EQ(&system, found[0]);
}

TEST_F(RaidObjectTree, GivenNotRecursiveThenOnlyDirectChildrenAreListed) {
    std::vector<RaidObject*> found;
    system.getChildren(found, "HardDrive", false, true);
    EXPECT_TRUE(found.empty());
    system.getChildren(found, "Adapter", false, true);
    EXPECT_EQ(1u, found.size());
}

TEST_F(RaidObjectTree, GivenNotDerivedThenOnlyExactKindsAreListed) {
    adapter->addChild(new SATAChannel(adapter));
    std::vector<RaidObject*> exact;
    system.getChildren(exact, "Channel", true, false);
    EXPECT_EQ(2u, exact.size());
    std::vector<RaidObject*> derived;
    system.getChildren(derived, "Channel", true, true);
    EXPECT_EQ(3u, derived.size());
}

TEST_F(RaidObjectTree, EmptyPlacesOnTheWayAreListedAsNull) {
    channels[0]->addChild(nullptr);
    adapter->addChild(nullptr);
    std::vector<RaidObject*> drives;
    system.getChildren(drives, "HardDrive", true, true);
    EXPECT_EQ((Ids{0, 1, 999, 0, 1, 999}), deviceIDs(drives));
}

// --- look-up ---

TEST_F(RaidObjectTree, FindsByTheFiveNumbersAndNotThePhyBelow) {
    RaidObject* found = find(1, 1);
    ASSERT_NE(nullptr, found);
    EXPECT_STREQ("HardDrive", found->typeName());
    EXPECT_EQ(1u, found->addr.channelID);
    RaidObject* logical = system.getObject(0, Addr::kNotSet, 5, Addr::kNotSet, Addr::kNotSet);
    ASSERT_NE(nullptr, logical);
    EXPECT_STREQ("LogicalDrive", logical->typeName());
}

TEST_F(RaidObjectTree, FindsThePhyByItsWholeAddress) {
    Addr address = Addr::ofDevice(0, 1, 0);
    address.phyID = 0;
    RaidObject* found = system.getObject(address);
    ASSERT_NE(nullptr, found);
    EXPECT_STREQ("SASPhy", found->typeName());
}

TEST_F(RaidObjectTree, GivenAnyIdentifierDiffersThenNothingIsFound) {
    EXPECT_EQ(nullptr, find(1, 2));
    EXPECT_EQ(nullptr, find(2, 1));
    EXPECT_EQ(nullptr, system.getObject(1, Addr::kNotSet, Addr::kNotSet, 1, 1));
    EXPECT_EQ(nullptr, system.getObject(0, 0, Addr::kNotSet, 1, 1));
    EXPECT_EQ(nullptr, system.getObject(0, Addr::kNotSet, 0, 1, 1));
    Addr withItem = Addr::ofDevice(0, 1, 1);
    withItem.itemID = 1;
    EXPECT_EQ(nullptr, system.getObject(withItem));
    Addr withChunk = Addr::ofDevice(0, 1, 1);
    withChunk.chunkID = -1;
    EXPECT_EQ(nullptr, system.getObject(withChunk));
}

TEST_F(RaidObjectTree, TheObjectAskedIsPartOfTheSearch) {
    EXPECT_EQ(adapter, adapter->getObject(Addr::ofController(0)));
    RaidObject* drive = find(0, 1);
    EXPECT_EQ(drive, drive->getObject(Addr::ofDevice(0, 0, 1)));
}

TEST_F(RaidObjectTree, EveryObjectOfTheTreeCanBeAsked) {
    EXPECT_NE(nullptr, channels[1]->getObject(Addr::ofDevice(0, 1, 0)));
    EXPECT_EQ(nullptr, channels[1]->getObject(Addr::ofDevice(0, 0, 0)));
}

TEST_F(RaidObjectTree, GivenAnAddressChangedAfterALookUpThenFoundAtTheNewOneOnly) {
    RaidObject* drive = find(0, 1);
    ASSERT_NE(nullptr, drive);
    drive->addr.deviceID = 9;
    EXPECT_EQ(drive, find(0, 9));
    EXPECT_EQ(nullptr, find(0, 1));
    drive->addr.deviceID = 1;  // and back
    EXPECT_EQ(drive, find(0, 1));
    EXPECT_EQ(nullptr, find(0, 9));
}

TEST_F(RaidObjectTree, GivenTwoAddressesSwappedThenEachIsFoundAtItsNewOne) {
    RaidObject* first = find(0, 0);
    RaidObject* second = find(0, 1);
    std::swap(first->addr.deviceID, second->addr.deviceID);
    EXPECT_EQ(second, find(0, 0));
    EXPECT_EQ(first, find(0, 1));
}

TEST_F(RaidObjectTree, GivenADriveAddedAfterALookUpThenItIsFound) {
    EXPECT_EQ(nullptr, find(1, 7));
    HardDrive* drive = addDrive(channels[1], 7);
    EXPECT_EQ(drive, find(1, 7));
}

TEST_F(RaidObjectTree, GivenAWholeBranchAddedAfterALookUpThenItsDrivesAreFound) {
    EXPECT_EQ(nullptr, find(2, 0));
    auto* channel = new Channel(adapter);
    channel->addr.channelID = 2;
    HardDrive* drive = addDrive(channel, 0);
    adapter->addChild(channel);
    EXPECT_EQ(drive, find(2, 0));
}

TEST_F(RaidObjectTree, GivenEqualAddressesThenTheFirstInTreeOrderIsFoundHoweverTheyCame) {
    RaidObject* present = find(1, 1);
    ASSERT_NE(nullptr, present);
    auto* earlier = new HardDrive(adapter, channels[1]);
    earlier->addr = present->addr;
    channels[0]->addChild(earlier);  // stands before `present`, added after it
    EXPECT_EQ(earlier, find(1, 1));

    auto* front = new HardDrive(adapter, channels[1]);
    front->addr = present->addr;
    channels[0]->addChild(front, 0);
    EXPECT_EQ(front, find(1, 1));

    auto* later = new HardDrive(adapter, channels[1]);
    later->addr = present->addr;
    channels[1]->addChild(later);
    EXPECT_EQ(front, find(1, 1));
}

TEST_F(RaidObjectTree, GivenChildrenSortedThenTheFirstOfEqualAddressesIsFound) {
    auto* one = new HardDrive(adapter, channels[0]);
    one->addr.deviceID = 40;
    auto* two = new HardDrive(adapter, channels[0]);
    two->addr.deviceID = 40;
    channels[0]->addChild(one);
    channels[0]->addChild(two);
    EXPECT_EQ(one, find(0, 40));
    one->addr.phyID = 3;  // sorts behind... and no longer matches
    channels[0]->sortChildren();
    EXPECT_EQ(two, find(0, 40));
}

TEST_F(RaidObjectTree, GivenAllChildrenDeletedThenNothingIsFound) {
    ASSERT_NE(nullptr, find(0, 0));
    channels[0]->deleteAllChildren();
    EXPECT_EQ(0ul, channels[0]->getChildCount());
    EXPECT_EQ(nullptr, find(0, 0));
    EXPECT_NE(nullptr, find(1, 0));
    HardDrive* again = addDrive(channels[0], 0);
    EXPECT_EQ(again, find(0, 0));
}

TEST_F(RaidObjectTree, GivenAChildTakenOutThenItIsTheCallersAndNoLongerFound) {
    RaidObject* drive = find(0, 0);
    ASSERT_NE(nullptr, drive);
    std::unique_ptr<RaidObject> taken = channels[0]->removeChild(drive);
    EXPECT_EQ(drive, taken.get());
    EXPECT_EQ(nullptr, taken->getParent());
    EXPECT_EQ(nullptr, find(0, 0));
    EXPECT_EQ(1ul, channels[0]->getChildCount());
    EXPECT_EQ(taken.get(), taken->getObject(Addr::ofDevice(0, 0, 0)));
}

TEST_F(RaidObjectTree, GivenNoChildOfThisOneThenNothingIsTakenOut) {
    EXPECT_EQ(nullptr, channels[1]->removeChild(find(0, 0)));
    EXPECT_EQ(nullptr, adapter->removeChild(find(0, 0)));  // a grandchild
    channels[0]->addChild(nullptr);
    EXPECT_EQ(nullptr, channels[0]->removeChild(nullptr));
    EXPECT_EQ(3ul, channels[0]->getChildCount());
}

// A walk would meet the decoy first: it stands in front of all drives and wears, after the index
// was made, the address of each drive in turn.
TEST(RaidObject, TenThousandDrivesAreFoundWithoutAWalk) {
    constexpr unsigned int kDrives = 10000;
    System system;
    auto* adapter = new Adapter;
    adapter->addr.controllerID = 0;
    system.addChild(adapter);
    auto* channel = new Channel(adapter);
    channel->addr.channelID = 0;
    adapter->addChild(channel);
    auto* decoy = new HardDrive(adapter, channel);
    decoy->addr.deviceID = kDrives;
    channel->addChild(decoy);
    std::vector<RaidObject*> drives;
    for (unsigned int d = 0; d < kDrives; ++d) {
        auto* drive = new HardDrive(adapter, channel);
        drive->addr.deviceID = d;
        channel->addChild(drive);
        drives.push_back(drive);
    }
    ASSERT_EQ(decoy, system.getObject(Addr::ofDevice(0, 0, kDrives)));

    unsigned int walked = 0;
    for (unsigned int d = 0; d < kDrives; ++d) {
        decoy->addr.deviceID = d;
        if (system.getObject(Addr::ofDevice(0, 0, d)) != drives[d]) ++walked;
    }
    EXPECT_EQ(0u, walked);

    // What comes after the first look-up enters the index too.
    decoy->addr.deviceID = kDrives;
    auto* late = new HardDrive(adapter, channel);
    late->addr.deviceID = kDrives + 1;
    channel->addChild(late);
    decoy->addr.deviceID = kDrives + 1;
    EXPECT_EQ(late, system.getObject(Addr::ofDevice(0, 0, kDrives + 1)));
}

// --- ownership ---

TEST(RaidObject, ParentDeletesItsChildren) {
    int deletions = 0;
    {
        RaidObject parent;
        auto* child = new Counted(deletions);
        parent.addChild(child);
        child->addChild(new Counted(deletions));
        parent.addChild(nullptr);
        parent.addChild(new Counted(deletions));
        EXPECT_EQ(0, deletions);
    }
    EXPECT_EQ(3, deletions);
}

TEST(RaidObject, DeletingAllChildrenDeletesEachOnce) {
    int deletions = 0;
    RaidObject parent;
    parent.addChild(new Counted(deletions));
    parent.addChild(new Counted(deletions));
    parent.deleteAllChildren();
    EXPECT_EQ(2, deletions);
    parent.deleteAllChildren();
    EXPECT_EQ(2, deletions);
}

TEST(RaidObject, ChildTakenOutOutlivesItsParent) {
    int deletions = 0;
    std::unique_ptr<RaidObject> taken;
    {
        RaidObject parent;
        auto* child = new Counted(deletions);
        parent.addChild(child);
        taken = parent.removeChild(child);
    }
    EXPECT_EQ(0, deletions);
    taken.reset();
    EXPECT_EQ(1, deletions);
}

// --- addresses ---

struct AddrCase {
    const char* when;
    Addr other;
    bool equal;
};

TEST(Addr, EqualOnlyInAllEightIdentifiers) {
    const Addr base(1, 2, 3, 4, 5, 6, 7, 8);
    const AddrCase cases[] = {
        {"all equal", Addr(1, 2, 3, 4, 5, 6, 7, 8), true},
        {"another controller", Addr(0, 2, 3, 4, 5, 6, 7, 8), false},
        {"another array", Addr(1, 0, 3, 4, 5, 6, 7, 8), false},
        {"another logical drive", Addr(1, 2, 0, 4, 5, 6, 7, 8), false},
        {"another channel", Addr(1, 2, 3, 0, 5, 6, 7, 8), false},
        {"another device", Addr(1, 2, 3, 4, 0, 6, 7, 8), false},
        {"another chunk", Addr(1, 2, 3, 4, 5, 0, 7, 8), false},
        {"another item", Addr(1, 2, 3, 4, 5, 6, 0, 8), false},
        {"another phy", Addr(1, 2, 3, 4, 5, 6, 7, 0), false},
    };
    for (const AddrCase& c : cases) {
        SCOPED_TRACE(c.when);
        EXPECT_EQ(c.equal, base.IsEqual(c.other));
        EXPECT_EQ(c.equal, c.other.IsEqual(base));
    }
}

TEST(Addr, ClearedAddressHasNothingSet) {
    Addr address(1, 2, 3, 4, 5, 6, 7, 8);
    address.clear();
    EXPECT_TRUE(address.IsEqual(Addr()));
    EXPECT_EQ(0x7fffffffu, address.controllerID);
    EXPECT_EQ(0x7fffffffu, address.phyID);
    EXPECT_EQ(0x7fffffffffffffffLL, address.chunkID);
}

}  // namespace

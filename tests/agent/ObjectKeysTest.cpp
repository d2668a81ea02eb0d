#include "agent/state/ObjectKeys.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

MachineState machine() {
    MachineState state;
    ArrayState array;
    array.key = "array:0:127";
    array.name = "md127";
    array.label = "projects";
    array.number = 127;
    state.arrays.push_back(array);
    DriveState drive;
    drive.key = "drive:S7K2";
    drive.name = "drive 1:0:3";
    drive.osName = "sdb";
    drive.adapter = 1;
    drive.device = 3;
    drive.slot = 7;
    drive.serial = "S7K2";
    drive.wwn = "5001122300000200";
    state.drives.push_back(drive);
    drive = DriveState();
    drive.key = "drive:at:1:0:4";
    drive.name = "drive 1:0:4";
    drive.adapter = 1;
    drive.device = 4;
    state.drives.push_back(drive);
    EnclosureState enclosure;
    enclosure.key = "enclosure:ENC1";
    enclosure.name = "enclosure 1:1:9";
    enclosure.adapter = 1;
    enclosure.channel = 1;
    enclosure.device = 9;
    enclosure.serial = "ENC1";
    state.enclosures.push_back(enclosure);
    ControllerState controller;
    controller.key = "controller:SN7";
    controller.number = 1;
    controller.serial = "SN7";
    state.controllers.push_back(controller);
    return state;
}

QELEvent driveEvent(unsigned int device, const std::string& serial) {
    QELEvent event;
    event.objectType = QELEvent::kPhysicalDrive;
    event.location = Addr::ofDevice(1, 0, device);
    event.extra1 = serial;
    return event;
}

}  // namespace

TEST(ObjectKeys, GivenAnyIdentityThenFindsTheObject) {
    const struct {
        const char* wanted;
        const char* key;
    } rows[] = {
        {"md127", "array:0:127"},
        {"/dev/md127", "array:0:127"},
        {"/dev/md/projects", "array:0:127"},
        {"PROJECTS", "array:0:127"},
        {"ld127", "array:0:127"},
        {"array 0:127", "array:0:127"},
        {"0:127", "array:0:127"},
        {"array 127", "array:0:127"},  // as an event names it
        {"array:0:127", "array:0:127"},
        {"/dev/sdb", "drive:S7K2"},
        {"sdb", "drive:S7K2"},
        {"s7k2", "drive:S7K2"},
        {"0x5001122300000200", "drive:S7K2"},
        {"naa.5001122300000200", "drive:S7K2"},
        {"wwn-0x5001122300000200", "drive:S7K2"},
        {"c1:e0:s7", "drive:S7K2"},
        {"1:0:3", "drive:S7K2"},
        {"drive 1:0:3", "drive:S7K2"},
        {"c1:e0:s4", "drive:at:1:0:4"},  // its slot is not known: the device number counts
        {"ENC1", "enclosure:ENC1"},
        {"1:1:9", "enclosure:ENC1"},
        {"encl. 1:1:9", "enclosure:ENC1"},  // as raidwatch list names it
        {"enclosure 1:1:9", "enclosure:ENC1"},
        {"sn7", "controller:SN7"},
        {"controller 1", "controller:SN7"},
        {"c1", "controller:SN7"},
    };
    for (const auto& row : rows) {
        const std::vector<ObjectKey> found = findObjects(machine(), row.wanted);
        ASSERT_EQ(found.size(), 1u) << row.wanted;
        EXPECT_EQ(found[0].key, row.key) << row.wanted;
    }
}

TEST(ObjectKeys, GivenNoIdentityThenFindsNothing) {
    for (const char* wanted :
         {"",       "md12",    "md1270", "sd",       "/dev/",        "s7k",    "c1:e0:s3",
          "1:0",    "ld",      "1:0:3x", "1:0:3:",   ":1:0:3",       "-1:0:3", "1:0:99999999999",
          "c1:0:3", "c1:e:s7", "127",    "array 12", "controller 2", "0x",     "%d:%d:%d",
          "drive"}) {
        EXPECT_TRUE(findObjects(machine(), wanted).empty()) << wanted;
    }
}

TEST(ObjectKeys, GivenTwoOfOneNameThenFindsBoth) {
    MachineState state = machine();
    state.drives[1].serial = "projects";
    EXPECT_EQ(findObjects(state, "projects").size(), 2u);
}

TEST(ObjectKeys, GivenADriveEventThenTheSerialNumberCountsBeforeThePlace) {
    const MachineState state = machine();
    EXPECT_EQ(objectOf(driveEvent(3, "S7K2"), state).key, "drive:S7K2");
    EXPECT_EQ(objectOf(driveEvent(3, ""), state).key, "drive:S7K2");
    EXPECT_EQ(objectOf(driveEvent(3, "OLD"), state).key, "drive:OLD");    // it was exchanged
    EXPECT_EQ(objectOf(driveEvent(5, "S7K2"), state).key, "drive:S7K2");  // it moved
    EXPECT_EQ(objectOf(driveEvent(5, ""), state).key, "drive:at:1:0:5");
    EXPECT_EQ(objectOf(driveEvent(5, ""), state).name, "drive 1:0:5");
}

TEST(ObjectKeys, GivenOtherEventsThenNamesTheirObjects) {
    const MachineState state = machine();
    QELEvent event;
    EXPECT_EQ(objectOf(event, state).key, "system");
    event.objectType = QELEvent::kLogicalDrive;
    event.location = Addr::ofLogicalDrive(0, 127);
    EXPECT_EQ(objectOf(event, state).name, "md127");
    event.location = Addr::ofLogicalDrive(2, 1);
    EXPECT_EQ(objectOf(event, state).key, "array:2:1");
    event.objectType = QELEvent::kFan;
    event.location = Addr::ofDevice(1, 1, 9);
    event.value2 = 1;
    EXPECT_EQ(objectOf(event, state).key, "enclosure:ENC1/fan2");
    EXPECT_EQ(objectOf(event, state).name, "fan 2 of enclosure 1:1:9");
    event.objectType = QELEvent::kEnclosure;
    EXPECT_EQ(objectOf(event, state).key, "enclosure:ENC1");
    event.objectType = QELEvent::kAdapter;
    event.location = Addr::ofController(1);
    EXPECT_EQ(objectOf(event, state).key, "controller:SN7");
    event.location = Addr::ofController(4);
    event.adapterSerial = "GONE";
    EXPECT_EQ(objectOf(event, state).key, "controller:GONE");
}

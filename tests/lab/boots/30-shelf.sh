# A SAS box with a shelf: slots, fans, power supplies and temperature sensors.
# drives: sas*3,size=32
unthrottle
array md0 1 --raid-devices=3 $(dev sas0 sas1 sas2)
enclosure start 6 3 2 2
start_daemon

story a-fan-fails
enclosure set fan 1 critical

story a-supply-is-taken-out
enclosure set supply 0 missing

story it-gets-hot
enclosure set sensor 1 critical celsius=67 overheated

story all-is-well-again
enclosure set fan 1 ok
wait_for 90 told resolved "enclosure 1:1:1" 1
enclosure set supply 0 ok
wait_for 90 told resolved "enclosure 1:1:1" 2
enclosure set sensor 1 ok celsius=33
wait_for 90 told resolved "enclosure 1:1:1" 3

story a-supply-fails-and-recovers
enclosure set supply 1 critical
settle
enclosure set supply 1 ok
wait_for 90 told resolved "enclosure 1:1:1" 4

story a-drive-is-pulled-from-its-slot
C=$(disk sas2)
sg=$(ls "/sys/block/$(disk sas0)/device/scsi_generic")
host unplug sas2
# This controller looks for what is plugged in only when it is reset.
shelf --reset "/dev/$sg"
wait_for 60 gone "/sys/block/$C"
enclosure set slot 2 missing
dd if=/dev/zero of=/dev/md0 bs=64k count=8 conv=fsync 2>/dev/null || true
wait_for 20 reads /sys/block/md0/md/degraded 1
stop_daemon

# An AHCI box: a RAID 5, its members and its tasks.
# drives: sata*5,size=32
A=$(disk sata0) B=$(disk sata1) C=$(disk sata2) D=$(disk sata3) E=$(disk sata4)
unthrottle
array md0 5 --raid-devices=3 --chunk=64 "/dev/$A" "/dev/$B" "/dev/$C"
start_daemon

story a-member-fails
mdadm --manage /dev/md0 --fail "/dev/$B" 2>/dev/null

story rebuild-onto-a-spare
throttle 8000
mdadm --manage /dev/md0 --add-spare "/dev/$D" 2>/dev/null
wait_for 60 past md0 30
throttle 100
settle
unthrottle
wait_idle md0
wait_for 90 told resolved md0

story the-array-grows
mdadm --manage /dev/md0 --remove "/dev/$B" 2>/dev/null
mdadm --manage /dev/md0 --add-spare "/dev/$E" 2>/dev/null
settle
throttle 8000
mdadm --grow /dev/md0 --raid-devices=4 --backup-file=/run/backup 2>/dev/null
wait_for 60 past md0 20
throttle 100
settle
unthrottle
wait_idle md0
settle

story two-members-fail
fail md0 "$C"
settle
fail md0 "$D"

story the-failed-array-is-stopped
mdadm --stop /dev/md0 2>/dev/null
wait_for 90 told resolved md0 2

story a-new-array
array md0 1 --raid-devices=2 "/dev/$A" "/dev/$B"

story a-check-finds-mismatches
dd if=/dev/urandom of="/dev/$A" bs=1024 seek=8192 count=256 conv=notrunc 2>/dev/null
sync
echo 3 > /proc/sys/vm/drop_caches
throttle 8000
echo check > /sys/block/md0/md/sync_action
wait_for 60 past md0 20
throttle 100
settle
unthrottle
wait_idle md0
settle
# The event about them is for the first look, and for every eight hours; see 20-hot.
grep -q '"badStripes": *[1-9]' /run/raidwatch/state.json
stop_daemon

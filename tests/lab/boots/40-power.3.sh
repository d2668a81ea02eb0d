# The third time the rebuild goes on to its end.
# drives: sata,size=32 sata,size=32,absent sata,size=32
STORY=after-the-power-cut
throttle 100
mdadm --assemble --run /dev/md0 $(dev sata0 sata2) 2>/dev/null
start_daemon

story the-rebuild-ends
unthrottle
wait_idle md0
wait_for 90 told resolved md0
stop_daemon

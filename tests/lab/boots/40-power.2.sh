# The second time a member has gone while the machine was off; then the power is cut in a rebuild.
# drives: sata,size=32 sata,size=32,absent sata,size=32
# ends: cut
unthrottle
STORY=a-member-went-while-it-was-off
mdadm --assemble --run /dev/md0 $(dev sata0) 2>/dev/null
start_daemon

story the-power-is-cut-in-a-rebuild
throttle 4000
mdadm --manage /dev/md0 --add "/dev/$(disk sata2)" 2>/dev/null
wait_for 60 past md0 30
throttle 100
settle
collect
host cut

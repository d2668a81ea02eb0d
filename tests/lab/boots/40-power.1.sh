# One machine, switched on three times: the first time all is well.
# drives: sata*3,size=32
unthrottle
array md0 1 --raid-devices=2 $(dev sata0 sata1)
start_daemon
stop_daemon
mdadm --stop /dev/md0 2>/dev/null

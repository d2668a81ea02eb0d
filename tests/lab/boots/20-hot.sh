# Drives that come and go: a virtio-scsi box, NVMe drives, and the kernel's own emulated drives.
# drives: scsi*4,size=32 nvme*2,size=32
unthrottle
array md0 5 --raid-devices=4 --chunk=64 $(dev scsi0 scsi1 scsi2 scsi3)
array md1 1 --raid-devices=2 $(dev nvme0 nvme1)
modprobe scsi_debug dev_size_mb=16 per_host_store=1 add_host=2 vpd_use_hostno=1
wait_for 20 there "$(echo /sys/bus/pseudo/drivers/scsi_debug/adapter1/host*/target*/*/block/sd*)"
set -- $(ls -d /sys/bus/pseudo/drivers/scsi_debug/adapter*/host*/target*/*/block/sd* | sed 's,.*/,/dev/,')
array md2 1 --raid-devices=2 "$@"
start_daemon

story a-drive-is-unplugged
C=$(disk scsi2)
host unplug scsi2
wait_for 20 gone "/sys/block/$C"

story the-array-notices
dd if=/dev/zero of=/dev/md0 bs=64k count=8 conv=fsync 2>/dev/null || true
wait_for 20 reads /sys/block/md0/md/degraded 1

story the-drive-is-plugged-in-again
mdadm --manage /dev/md0 --remove detached 2>/dev/null || true
host plug scsi2
wait_for 20 disk scsi2
settle
throttle 8000
mdadm --manage /dev/md0 --add "/dev/$(disk scsi2)" 2>/dev/null
wait_for 60 past md0 20
throttle 100
settle
unthrottle
wait_idle md0
wait_for 90 told resolved md0

story medium-errors
echo 8192 > /sys/module/scsi_debug/parameters/medium_error_start
echo 8 > /sys/module/scsi_debug/parameters/medium_error_count
echo 2 > /sys/bus/pseudo/drivers/scsi_debug/opts
dd if=/dev/md2 of=/dev/null bs=64k 2>/dev/null || true
settle
echo 0 > /sys/bus/pseudo/drivers/scsi_debug/opts

story a-controller-is-unbound
pci=$(basename "$(readlink -f /sys/block/$(disk nvme1)/device/device)")
gone=$(disk nvme1)
echo "$pci" > /sys/bus/pci/drivers/nvme/unbind
wait_for 20 gone "/sys/block/$gone"
dd if=/dev/zero of=/dev/md1 bs=64k count=8 conv=fsync 2>/dev/null || true

story the-controller-is-bound-again
echo "$pci" > /sys/bus/pci/drivers/nvme/bind
wait_for 20 disk nvme1
stop_daemon

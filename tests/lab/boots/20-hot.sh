# What comes and goes: drives and a controller of a virtio-scsi box, an NVMe drive, and bad sectors of
# the kernel's own emulated drives.
# drives: scsi*4,size=32 scsi*1,size=32,hba=1 nvme*2,size=32
unthrottle
array md0 5 --raid-devices=4 --chunk=64 $(dev scsi0 scsi1 scsi2 scsi3)
array md1 1 --raid-devices=3 $(dev nvme0 nvme1 scsi4)
modprobe scsi_debug dev_size_mb=16 per_host_store=1 add_host=2 vpd_use_hostno=1
wait_for 20 there "$(echo /sys/bus/pseudo/drivers/scsi_debug/adapter1/host*/target*/*/block/sd*)"
set -- $(ls -d /sys/bus/pseudo/drivers/scsi_debug/adapter*/host*/target*/*/block/sd* | sed 's,.*/,/dev/,')
array md2 1 --raid-devices=2 "$@"

# A check finds mismatches before anybody watches.
dd if=/dev/urandom of="/dev/$(disk nvme0)" bs=1024 seek=8192 count=64 conv=notrunc 2>/dev/null
sync
echo 3 > /proc/sys/vm/drop_caches
echo check > /sys/block/md1/md/sync_action
wait_idle md1
STORY=first-look-with-mismatches
start_daemon

# md itself notices only when it writes; the drive and its array are told before.
story a-drive-is-unplugged
C=$(disk scsi2)
host unplug scsi2
wait_for 20 gone "/sys/block/$C"

story md-notices-and-nothing-is-told-twice
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

story an-nvme-drive-is-unbound
N=$(disk nvme1)
pci=$(basename "$(readlink -f "/sys/block/$N/device/device")")
echo "$pci" > /sys/bus/pci/drivers/nvme/unbind
wait_for 20 gone "/sys/block/$N"

story it-is-bound-again
echo "$pci" > /sys/bus/pci/drivers/nvme/bind
wait_for 20 disk nvme1

story a-controller-is-unbound
E=$(disk scsi4)
pci=$(readlink -f "/sys/block/$E/device" | sed 's,.*/\([0-9a-f:.]*\)/virtio.*,\1,')
echo "$pci" > /sys/bus/pci/drivers/virtio-pci/unbind
wait_for 20 gone "/sys/block/$E"

story the-controller-is-bound-again
echo "$pci" > /sys/bus/pci/drivers/virtio-pci/bind
wait_for 20 disk scsi4
wait_for 90 told resolved "controller 2"
stop_daemon

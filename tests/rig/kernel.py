"""The kernel that the rig boots: Debian's own package, fetched with apt-get and unpacked into a cache folder, and
an initrd of busybox with the modules that a USB storage device needs.

Raises Missing with the reason where a part cannot be had.
"""
import fcntl
import glob
import hashlib
import lzma
import os
import shutil
import subprocess

MODULES = """
    usb-common usbcore xhci-hcd xhci-pci ehci-hcd ehci-pci scsi_common scsi_mod sg
    crct10dif_common crc64 crct10dif_generic crc-t10dif crc64-rocksoft t10-pi sd_mod usb-storage
    fat vfat nls_cp437 nls_ascii
    virtio virtio_ring virtio_pci_legacy_dev virtio_pci_modern_dev virtio_pci
    netfs fscache 9pnet 9pnet_virtio 9p overlay
""".split()
FOLDERS = ["drivers/usb", "drivers/scsi", "drivers/virtio", "block", "crypto", "lib", "fs", "net/9p",
           "arch/x86/crypto"]

# The guest: mounts this machine's file system read-only with a writable layer above it, and runs what it is told over
# its second serial port: "run N" runs the script N.sh of the shared folder. Starting a program is what is slow there, so
# one shell reads all scripts, and what busybox has is part of it: /usr/bin/PROGRAM where the system's own is meant. It is
# not the first process, to which all children without a parent fall: when one ends, read forgets half a line.
INIT = r"""#!/bin/busybox sh
/bin/busybox mount -t proc proc /proc
mount -t sysfs sys /sys; mount -t devtmpfs dev /dev
while read -r module; do insmod /modules/$module || echo "RIG: no module $module"; done </modules/order
mount -t 9p -o trans=virtio,version=9p2000.L,ro,msize=262144,cache=loose host /lower || echo "RIG: no host"
mount -t tmpfs tmpfs /layer; mkdir /layer/up /layer/work
mount -t overlay -o lowerdir=/lower,upperdir=/layer/up,workdir=/layer/work overlay /root || echo "RIG: no overlay"
for folder in proc sys dev; do mount --bind /$folder /root/$folder; done
mount -t tmpfs tmpfs /root/run; mount -t tmpfs tmpfs /root/tmp; mkdir -p /root/run/udev /root/mnt/share
mount -t 9p -o trans=virtio,version=9p2000.L,msize=262144,cache=none share /root/mnt/share || echo "RIG: no share"
cp /bin/busybox /listen /root/run
stty -F /dev/ttyS1 raw -echo
chroot /root /run/busybox sh /run/listen
poweroff -f
"""
LISTEN = r"""
export HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 TZ=UTC
cd /mnt/share
mkfifo /run/silence
exec 3<>/dev/ttyS1 4<>/run/silence
nap() { read -t 0.02 nothing <&4; }
# Waits until a command works out, and ends the script if it does not.
await() {
    turns=0
    until "$@"; do turns=$((turns + 1)); [ $turns -gt 1000 ] && echo "not in time: $*" >&2 && exit 99; nap; done
}
# So many SCSI generic nodes there are.
nodes() { want=$1; set -- /dev/sg*; [ -e $1 ] || shift; [ $# = $want ]; }
udev() { SYSTEMD_IGNORE_CHROOT=1 udevadm "$@"; }
echo ready >&3
while read -r word number folder <&3; do
    [ "$word" = run ] || continue
    ( cd /mnt/share/$folder && . /mnt/share/$number.sh ) >$number.out 2>$number.err 3>&-
    echo "done $number $?" >&3
done
"""
SIGNED = b"~Module signature appended~\n"


class Missing(Exception):
    pass


def _run(command, **options):
    try:
        return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options).stdout
    except (OSError, subprocess.CalledProcessError) as error:
        reason = getattr(error, "stderr", b"") or b""
        raise Missing("%s: %s %s" % (" ".join(command[:3]), error, reason.decode(errors="replace")[-300:]))


def need_programs():
    for program in ("qemu-system-x86_64", "busybox", "cpio", "modinfo", "apt-get", "dpkg-deb", "depmod"):
        if not shutil.which(program, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin"):
            raise Missing("%s is not installed" % program)
    if not os.path.exists("/lib/systemd/systemd-udevd"):
        raise Missing("udev is not installed")


def _package():
    depends = _run(["apt-cache", "depends", "linux-image-amd64"]).decode()
    for line in depends.splitlines():
        word = line.split()[-1:]
        if "Depends:" in line and word[0].startswith("linux-image-"):
            return word[0]
    raise Missing("linux-image-amd64 is not in the package lists (apt-get update)")


def _fetched(cache):
    return sorted(os.path.dirname(mark) for mark in glob.glob(os.path.join(cache, "*/complete")))


def fetch(cache):
    """The folder that holds boot/ and lib/ of the kernel package; fetched once, and used when there is no other."""
    try:
        package = _package()
    except Missing:
        if _fetched(cache):
            return _fetched(cache)[-1]
        raise
    folder = os.path.join(cache, package)
    if folder in _fetched(cache):
        return folder
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    _run(["apt-get", "-o", "Acquire::http::Timeout=30", "-o", "Acquire::Retries=2", "download", package], cwd=folder)
    archive, = glob.glob(os.path.join(folder, "*.deb"))
    version = package[len("linux-image-"):]
    kernel = "./lib/modules/%s/kernel/" % version
    tar = subprocess.Popen(["dpkg-deb", "--fsys-tarfile", archive], stdout=subprocess.PIPE)
    _run(["tar", "-x", "-C", folder, "./boot/vmlinuz-" + version, *[kernel + f for f in FOLDERS]], stdin=tar.stdout)
    tar.wait()
    os.remove(archive)
    open(os.path.join(folder, "complete"), "w").close()
    return folder


def _module_files(kernel):
    """The modules and all they need, in the order of loading."""
    files = {}
    for path in glob.glob(os.path.join(kernel, "lib/modules/*/kernel/**/*.ko"), recursive=True):
        files[os.path.basename(path)[:-3].replace("-", "_")] = path
    order = []

    def add(name):
        name = name.replace("-", "_")
        if name not in files or files[name] in order:  # built in, or there already
            return
        needs = _run(["modinfo", "-F", "depends", files[name]]).decode().strip()
        for need in filter(None, needs.split(",")):
            add(need)
        order.append(files[name])

    for name in MODULES:
        add(name)
    return order


def _unpacked(packed, unpacked):
    """What is packed in a kernel image: qemu starts that at once, and unpacking is slow in the machine."""
    if os.path.exists(unpacked):
        return unpacked
    with open(packed, "rb") as file:
        data = file.read()
    try:
        data = lzma.LZMADecompressor().decompress(data[data.index(b"\xfd7zXZ\0"):])
    except (ValueError, lzma.LZMAError):  # packed in another way
        return packed
    return _written(unpacked, data) if data.startswith(b"\x7fELF") else packed


def _unsigned(module):
    """A module without its signature, which the kernel need not check then."""
    with open(module, "rb") as file:
        data = file.read()
    if not data.endswith(SIGNED):
        return data
    length = int.from_bytes(data[-len(SIGNED) - 4:-len(SIGNED)], "big")
    return data[:-len(SIGNED) - 12 - length]


def _written(path, data):
    with open(path + ".new", "wb") as file:
        file.write(data)
    os.rename(path + ".new", path)
    return path


def build(cache):
    """(kernel image, initrd) in the cache folder, which several rigs may share."""
    with open(os.path.join(cache, "lock"), "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        return _build(cache)


def _build(cache):
    kernel = fetch(cache)
    packed, = glob.glob(os.path.join(kernel, "boot/vmlinuz-*"))
    key = hashlib.sha256("\n".join([kernel, INIT, LISTEN, *MODULES]).encode()).hexdigest()[:16]
    image = _unpacked(packed, os.path.join(kernel, "vmlinux"))
    initrd = os.path.join(cache, "initrd-%s.img" % key)
    if os.path.exists(initrd):
        return image, initrd
    root = os.path.join(cache, "initrd")
    shutil.rmtree(root, ignore_errors=True)
    for folder in ("bin", "modules", "proc", "sys", "dev", "lower", "layer", "root", "tmp"):
        os.makedirs(os.path.join(root, folder))
    shutil.copy(shutil.which("busybox"), os.path.join(root, "bin/busybox"))
    names = []
    for path in _module_files(kernel):
        names.append(os.path.basename(path))
        _written(os.path.join(root, "modules", names[-1]), _unsigned(path))
    for name, text in (("modules/order", "".join(name + "\n" for name in names)), ("listen", LISTEN), ("init", INIT)):
        _written(os.path.join(root, name), text.encode())
    os.chmod(os.path.join(root, "init"), 0o755)
    listing = _run(["find", "."], cwd=root)
    return image, _written(initrd, _run(["cpio", "-o", "-H", "newc", "--quiet"], cwd=root, input=listing))

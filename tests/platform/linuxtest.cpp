#include "core/tlcore.h"
#include "platform/linux/ataidentity.h"
#include "platform/linux/linuxbackend.h"
#include "platform/linux/linuxdevice.h"

#include "tests/support/loopdisk.h"
#include "tests/support/tempfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <memory>

#include <fcntl.h>
#include <linux/blkpg.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace platform;

namespace
{

/// A tree as sysfs shows it, in a folder.
struct Tree {
    void file(const std::string &name, const std::string &text) const
    {
        const std::filesystem::path path = folder / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }
    void link(const std::string &target, const std::string &name) const
    {
        const std::filesystem::path path = folder / name;
        std::filesystem::create_directories(path.parent_path());
        std::filesystem::create_symlink(folder / target, path);
    }

    TempFolder folder;
};

/// `bytes` bytes at any alignment but the system's own.
std::vector<char> unaligned(std::size_t bytes, char fill)
{
    return std::vector<char>(bytes + 1, fill);
}

} // namespace

TEST(Linux, ErrorsHaveMeanings)
{
    const struct {
        Fault fault;
        std::vector<int> errors;
    } table[] = {
        {Fault::none, {0}},
        {Fault::medium, {EIO, EREMOTEIO, ENODATA, EILSEQ, ETIMEDOUT, EBADMSG}},
        {Fault::gone, {ENXIO, ENODEV, ENOMEDIUM, ENOENT, ENOLINK, ESHUTDOWN}},
        {Fault::denied, {EACCES, EPERM, EROFS}},
        {Fault::busy, {EBUSY, ETXTBSY, EBADE}},
        {Fault::badargument, {EINVAL, EBADF, EFAULT, ENOTBLK}},
        {Fault::unsupported, {ENOTTY, EOPNOTSUPP, ENOSYS}},
        {Fault::other, {ENOSPC, ENOMEM, EMFILE, EFBIG}},
    };
    for (const auto &row : table) {
        for (const int error : row.errors)
            EXPECT_EQ(faultof(error), row.fault) << error;
    }
}

TEST(Linux, ListsHardDisksInNaturalOrder)
{
    const Tree tree;
    for (const char *name :
         {"sda",         "sdaa",     "sdb",     "hda",       "vda",     "xvda",
          "nvme0n1",     "nvme10n1", "nvme2n1", "nvme0c0n1", "mmcblk0", "mmcblk0boot0",
          "mmcblk0rpmb", "sr0",      "fd0",     "ram0",      "zram0",   "dm-0",
          "md0",         "nbd0",     "loop0",   "loop1",     "loop10",  "loop2",
          "sdz",         "sd9",      "nvme0",   "sda1",      "loop-x",  "nvme"})
        tree.file("block/" + std::string(name) + "/size", "2048\n");
    tree.file("block/sdz/hidden", "1\n");
    for (const char *name : {"sdy", "mmcblk1", "loop3"})
        tree.file("block/" + std::string(name) + "/size", "2048\n");
    tree.file("block/sdy/removable", "1\n");
    tree.file("block/mmcblk0/device/type", "MMC\n");
    tree.file("block/mmcblk1/device/type", "SD\n");
    tree.file("block/loop3/loop/backing_file", "/x\n");
    tree.file("block/loop3/ro", "1\n");
    tree.file("block/loop0/size", "0\n");
    for (const char *name : {"loop0", "loop10", "loop2"})
        tree.file("block/" + std::string(name) + "/loop/backing_file",
                  std::string("/a b/x/My #1&") + name + "\n");
    tree.file("block/sda/device/vendor", "ATA     \n");
    tree.file("block/sda/device/model", "Some Disk 1\t0 \n");
    tree.file("block/sda/device/rev", "1.0 \n");
    tree.file("block/sda/device/vpd_pg80", std::string("\0\x80\0\x8", 4) + "  SER 1 ");
    tree.link("bus/virtio", "block/vda/device/subsystem");
    tree.file("block/vda/device/vendor", "0x1af4\n");
    tree.file("block/vda/serial", "over/lay");
    tree.link("class/nvme", "block/nvme0n1/device/subsystem");
    tree.file("block/nvme0n1/device/model", std::string(40, 'M') + "\n");
    tree.file("block/nvme0n1/device/serial", "S1   \n");
    tree.file("block/nvme0n1/device/firmware_rev", "F7\n");

    LinuxBackend backend(tree.folder.path, "/dev");
    std::vector<std::string> paths;
    ASSERT_TRUE(backend.listdisks(paths).ok());
    const auto find = [&](const std::string &node) {
        return *std::find_if(paths.begin(), paths.end(), [&](const std::string &path) {
            return path.starts_with("/dev/" + node + "#");
        });
    };
    std::string nodes;
    for (const std::string &path : paths)
        nodes += path.substr(5, path.find('#') - 5) + " ";
    EXPECT_EQ(nodes, "sda sdb sdaa hda nvme0n1 nvme2n1 nvme10n1 mmcblk0 vda xvda loop2 loop10 ");
    EXPECT_EQ(find("sda"), "/dev/sda#disk&ven_ATA&prod_Some_Disk_1_0&rev_1.0#SER_1#block");
    EXPECT_EQ(find("vda"), "/dev/vda#disk&ven_virtio&prod_vda&rev_0#over_lay#block");
    EXPECT_EQ(find("nvme0n1"),
              "/dev/nvme0n1#disk&ven_nvme&prod_" + std::string(40, 'M') + "&rev_F7#S1#block");
    EXPECT_EQ(find("loop2"), "/dev/loop2#disk&ven_loop&prod_My__1_loop2&rev_0#loop2#block");
    EXPECT_FALSE(LinuxBackend(tree.folder / "none").listdisks(paths).ok());

    // Texts of any length fit, and are not cut inside a character.
    const std::string euro = "\xE2\x82\xAC";
    std::string many;
    for (int i = 0; i < 100; i++)
        many += euro;
    for (const std::size_t length : {10, 50, 120, 160}) {
        const std::string path = devicepath(std::string(length, 'n'), {many, many, many, many});
        EXPECT_LT(path.size(), 200U);
        EXPECT_EQ(std::count(path.begin(), path.end(), '#'), 3);
        EXPECT_EQ(std::count(path.begin(), path.end(), '\xE2'),
                  std::count(path.begin(), path.end(), '\xAC'));
    }
}

/// Disks and what stands on them, each under its number as in sysfs. A device's folder is its path.
struct LayeredTree : Tree {
    void device(const std::string &path, const std::string &number, bool part = false) const
    {
        const std::string name = path.substr(path.rfind('/') + 1);
        file("devices/" + path + "/dev", number + "\n");
        if (part)
            file("devices/" + path + "/partition", "1\n");
        else
            link("devices/" + path, "block/" + name);
        link("devices/" + path, "dev/block/" + number);
        link("devices/" + path, "class/block/" + name);
    }
    void stands(const std::string &upper, const std::string &lower) const
    {
        const auto name = [](const std::string &path) { return path.substr(path.rfind('/') + 1); };
        link("devices/" + lower, "devices/" + upper + "/slaves/" + name(lower));
        link("devices/" + upper, "devices/" + lower + "/holders/" + name(upper));
    }
    LayeredTree()
    {
        for (const char *letter : {"a", "b", "c", "d", "e", "f", "g", "h"}) {
            const std::string disk = std::string("tsd") + letter;
            const int first = (*letter - 'a') * 16;
            device(disk, "8:" + std::to_string(first));
            device(disk + "/" + disk + "1", "8:" + std::to_string(first + 1), true);
        }
        device("tsdg/tsdg11", "259:7", true); // no place in the disk's own row of numbers
        // volume over encryption over a mirror over two disks; and an open one over a third
        for (const auto &[name, number] :
             {std::pair("md7", "9:7"), {"dm-0", "253:0"}, {"dm-1", "253:1"}, {"dm-2", "253:2"}})
            device(name, number);
        stands("md7", "tsda/tsda1");
        stands("md7", "tsdb");
        stands("dm-0", "md7");
        stands("dm-1", "dm-0");
        stands("dm-2", "tsdc/tsdc1");
        file("devices/md7/md/level", "raid1\n");
        file("devices/dm-0/dm/uuid", "CRYPT-LUKS2-1\n");
        file("devices/dm-0/dm/name", "secret\n");
        file("devices/dm-1/dm/uuid", "LVM-1\n");
        file("devices/dm-2/dm/uuid", "LVM-2\n");
        file("devices/dm-2/dm/name", "vg-data\x1b[2J\n");
        link("devices/tsdd", "fs/btrfs/u1/devices/tsdd");
        link("devices/tsde/tsde1", "fs/btrfs/u1/devices/tsde1");
    }
    void mounts(const std::string &lines) const { file("proc/self/mountinfo", lines); }
    [[nodiscard]] std::string systemdisks() const
    {
        std::string text;
        for (const std::string &disk : Layers(folder.path, folder / "proc").systemdisks())
            text += disk.starts_with("tsd") ? disk.substr(3) : "";
        return text;
    }
    [[nodiscard]] std::string user(const std::string &disk) const
    {
        LinuxBackend backend(folder.path, "/dev", folder / "proc");
        std::string reason;
        EXPECT_TRUE(backend.inuse("/dev/" + disk + "#disk&x#y#block", reason).ok()) << disk;
        return reason;
    }
};

TEST(Linux, KnowsTheSystemsDisksThroughEveryLayer)
{
    const LayeredTree tree;
    const struct {
        const char *mount, *disks;
    } rows[] = {
        {"8:81 / / rw - ext4 /dev/tsdf1 rw", "f"},
        {"9:7 / / rw shared:1 master:2 - ext4 /dev/md7 rw", "ab"},
        {"253:1 / / rw - ext4 /dev/mapper/x rw", "ab"},
        {"0:30 /@ / rw - btrfs /dev/tsde1 rw", "de"},
        {"0:30 /@ / rw - btrfs /dev/root rw", "de"}, // a source that leads nowhere
        {"0:30 / / rw - overlay /dev/tsda rw", ""},  // a source that means nothing
        {"8:81 / /home rw - ext4 /dev/tsdf1 rw", "g"},
        {"8:81 / /", "g"},
    };
    for (const auto &[mount, disks] : rows) {
        // what was mounted there before is not seen any more
        tree.mounts(std::string("1 1 8:97 / / rw - ext4 x rw\n24 1 ") + mount + "\n");
        EXPECT_EQ(tree.systemdisks(), disks) << mount;
    }
    // On this very system: the disks, if any, are named as the list names them.
    std::vector<std::string> volumes;
    std::vector<std::string> paths;
    ASSERT_TRUE(nativebackend().listdisks(paths).ok());
    const Status status = nativebackend().systemvolumes(volumes);
    EXPECT_EQ(status.ok(), !volumes.empty());
    for (const std::string &path : paths) {
        for (const std::string &volume : volumes) {
            if (path.substr(0, path.find('#')) == volume.substr(0, volume.find('#'))) {
                EXPECT_EQ(path, volume);
            }
        }
    }
}

TEST(Linux, TellsWhoUsesADisk)
{
    const LayeredTree tree;
    EXPECT_EQ(tree.user("tsdf"), "");
    EXPECT_EQ(tree.user("tsda"), "part of RAID md7");
    EXPECT_EQ(tree.user("tsdc"), "part of LVM volume vg-data?[2J");
    EXPECT_EQ(tree.user("md7"), "part of encrypted volume secret");
    EXPECT_EQ(tree.user("dm-0"), "part of LVM volume dm-1");
    EXPECT_EQ(tree.user("tsde"), "part of a mounted btrfs file system");

    tree.mounts("30 1 253:1 / /srv rw - ext4 /dev/mapper/x rw\n"
                "31 1 0:40 / /pool rw - btrfs /dev/tsdd rw\n"
                "32 1 8:17 / /else rw - ext4 /dev/tsdb1 rw\n"
                "33 1 259:7 / /media/my\\040disk\\134\\012\\033) rw - vfat /dev/tsdg11 rw\n"
                "34 1 8:113 / /" +
                std::string(118, 'm') + "\xE2\x82\xAC rw - ext4 x rw\n");
    tree.file("proc/swaps", "Filename Type Size Used Priority\n"
                            "/dev/tsdc1 partition 1 0 -2\n/dev/tsdf1 file 1 0 -3\n");
    EXPECT_EQ(tree.user("tsda"), "mounted at /srv");
    EXPECT_EQ(tree.user("tsdb"), "mounted at /srv");
    EXPECT_EQ(tree.user("tsdc"), "used as swap");
    EXPECT_EQ(tree.user("tsdd"), "mounted at /pool");
    EXPECT_EQ(tree.user("tsde"), "mounted at /pool");
    EXPECT_EQ(tree.user("tsdf"), "");
    EXPECT_EQ(tree.user("tsdg"), "mounted at /media/my disk\\?\?)");
    EXPECT_EQ(tree.user("tsdh"), "mounted at /" + std::string(118, 'm') + "...");
    std::string reason;
    EXPECT_FALSE(LinuxBackend(tree.folder.path).inuse("/dev/none#a", reason).ok());
    EXPECT_FALSE(LinuxBackend(tree.folder.path).inuse("", reason).ok());
}

TEST(Linux, JudgesIdentities)
{
    IdentifyData wire{};
    const std::string model = "AB Disk";
    for (std::size_t i = 0; i < 40; i++)
        wire[54 + (i ^ 1)] = static_cast<std::uint8_t>(i < model.size() ? model[i] : ' ');
    wire[20] = 'x';
    EXPECT_TRUE(issoundidentity(wire));
    IdentifyData copy = wire; // with its texts in the order of reading
    std::copy(model.begin(), model.end(), copy.begin() + 54);
    copy[54 + model.size()] = ' ';
    std::swap(copy[20], copy[21]);
    towireorder(copy);
    EXPECT_EQ(copy, wire);

    const auto broken = [&wire](std::size_t at, std::uint8_t value) {
        IdentifyData data = wire;
        data[at] = value;
        return !issoundidentity(data);
    };
    EXPECT_TRUE(broken(1, 0x80)) << "a packet device";
    EXPECT_TRUE(broken(60, 0x1B)) << "no text";
    EXPECT_TRUE(broken(510, 0xA5)) << "a sum that is wrong";
    EXPECT_FALSE(issoundidentity(IdentifyData{})) << "nothing at all";
}

TEST(Linux, TakesAFileAsADisk)
{
    const TempFolder folder;
    const std::string file = folder / "image";
    std::ofstream(file, std::ios::binary) << std::string(100 * 512, 'a');
    Status status;
    const auto device = LinuxDevice::open(file, Access::readwrite, status);
    ASSERT_NE(device, nullptr) << status.code;
    std::uint64_t size = 0;
    EXPECT_TRUE(device->partitionlength(size).ok());
    EXPECT_EQ(size, 100U * 512);
    DriveGeometry geometry;
    EXPECT_EQ(device->drivegeometry(geometry).fault, Fault::unsupported);
    auto bytes = unaligned(20 * 512, 'b');
    device->seek(90 * 512);
    const Transfer transfer = device->write(bytes.data() + 1, 20 * 512);
    EXPECT_EQ(transfer.bytes, 10U * 512);
    EXPECT_EQ(transfer.status.code, ENOSPC);
    EXPECT_EQ(std::filesystem::file_size(file), 100U * 512) << "a disk does not grow";
    device->seek(89 * 512);
    EXPECT_EQ(device->read(bytes.data() + 1, 20 * 512).bytes, 11U * 512);
    EXPECT_EQ(bytes[512], 'a');
    EXPECT_EQ(bytes[513], 'b');
    EXPECT_TRUE(device->updateproperties().ok());

    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const struct {
        std::string path;
        Fault fault;
    } refused[] = {{folder / "none", Fault::gone},
                   {folder.path, Fault::badargument},
                   {folder / "pipe", Fault::badargument},
                   {"/dev/zero", Fault::badargument},
                   {"", Fault::gone}};
    for (const auto &[path, fault] : refused) {
        EXPECT_EQ(LinuxDevice::open(path, Access::readwrite, status), nullptr) << path;
        EXPECT_EQ(status.fault, fault) << path;
    }
}

class LoopDeviceTest : public ::testing::TestWithParam<std::uint32_t>
{
};

TEST_P(LoopDeviceTest, MeetsRealDamage)
{
    std::string why;
    if (!LoopDisk::available(why))
        GTEST_SKIP() << why;
    const std::uint32_t sector = GetParam();
    constexpr std::uint64_t sectors = 40000;
    LoopDisk disk({sectors * sector, sector, {{100, 120}, {5000, 5000}}, {{7000, 7001}}});
    ASSERT_FALSE(disk.node.empty()) << disk.error;

    std::vector<std::string> paths;
    ASSERT_TRUE(nativebackend().listdisks(paths).ok());
    const std::string path = disk.node + "#disk&ven_loop&prod_disk&rev_0#" +
                             disk.node.substr(disk.node.rfind('/') + 1) + "#block";
    ASSERT_EQ(std::count(paths.begin(), paths.end(), path), 1);
    Status status;
    void *handle = platform::open(path.c_str(), Access::readwrite, &status);
    ASSERT_NE(handle, invalidhandle) << status.code;
    Device &device = platform::device(handle);

    std::uint64_t size = 0;
    std::uint32_t low = 0;
    bool removable = true;
    DriveGeometry geometry;
    EXPECT_TRUE(device.partitionlength(size).ok());
    EXPECT_EQ(size, sectors * sector);
    EXPECT_TRUE(device.filesize(size = 0).ok());
    EXPECT_EQ(size, sectors * sector);
    EXPECT_TRUE(device.filesizelow(low).ok());
    EXPECT_EQ(low, sectors * sector);
    EXPECT_FALSE(device.drivegeometry(geometry).ok());
    EXPECT_TRUE(device.removable(removable).ok());
    EXPECT_FALSE(removable);
    std::uint32_t length = 0;
    EXPECT_TRUE(device.sectorsize(length).ok());
    EXPECT_EQ(length, sector);
    std::uint8_t map = 0;
    EXPECT_FALSE(device.identitymap(map).ok());

    // Writes land past every cache, bad neighbours or not.
    auto out = unaligned(400 * sector, 0);
    for (std::size_t i = 0; i < out.size(); i++)
        out[i] = static_cast<char>(i * 7 + i / sector);
    device.seek(50ULL * sector);
    EXPECT_EQ(device.write(out.data() + 1, 400ULL * sector).bytes, 400ULL * sector);
    EXPECT_EQ(disk.medium(50ULL * sector, 400ULL * sector),
              std::string(out.data() + 1, 400ULL * sector));

    // 20 sectors that touch a bad one fail; up to it and behind it all is well.
    auto in = unaligned(400 * sector, 'x');
    const struct {
        std::uint64_t first;
        std::size_t count;
        bool good;
    } reads[] = {{80, 20, true},    {81, 20, false},  {99, 1, true},    {100, 1, false},
                 {120, 1, false},   {121, 20, true},  {115, 20, false}, {4980, 20, true},
                 {4990, 20, false}, {5001, 20, true}, {300, 150, true}};
    for (const auto &[first, count, good] : reads) {
        ASSERT_TRUE(device.seek(first * sector).ok());
        const Transfer transfer = device.read(in.data() + 1, count * sector);
        EXPECT_EQ(transfer.status.fault, good ? Fault::none : Fault::medium) << first;
        EXPECT_EQ(transfer.status.code, good ? 0 : EIO) << first;
        if (good)
            ASSERT_EQ(transfer.bytes, count * sector) << first;
        else
            EXPECT_LT(transfer.bytes, count * sector) << first;
        EXPECT_TRUE(std::equal(in.begin() + 1, in.begin() + 1 + transfer.bytes,
                               disk.medium(first * sector, transfer.bytes).begin()))
            << first;
    }
    device.seek(6990ULL * sector);
    EXPECT_EQ(device.write(out.data() + 1, 20ULL * sector).status.fault, Fault::medium);
    EXPECT_EQ(device.write(out.data() + 1, sector / 2).status.fault, Fault::badargument);
    device.seek(sector / 2);
    EXPECT_EQ(device.read(in.data(), sector).status.fault, Fault::badargument);

    // The end of the disk.
    device.seek((sectors - 10) * sector);
    Transfer transfer = device.read(in.data(), 20ULL * sector);
    EXPECT_TRUE(transfer.status.ok());
    EXPECT_EQ(transfer.bytes, 10ULL * sector);
    device.seek((sectors - 10) * sector);
    transfer = device.write(out.data(), 20ULL * sector);
    EXPECT_EQ(transfer.status.fault, Fault::other);
    EXPECT_EQ(transfer.bytes, 10ULL * sector);

    EXPECT_TRUE(device.updateproperties().ok()) << "a disk without partitions has nobody to tell";

    // A node that is write-protected does not open for writing, but it does for reading.
    const auto protect = [node = disk.node](int on) {
        const int descriptor = ::open(node.c_str(), O_RDONLY | O_CLOEXEC);
        const int result = ::ioctl(descriptor, BLKROSET, &on);
        ::close(descriptor);
        return result == 0;
    };
    ASSERT_TRUE(protect(1));
    EXPECT_EQ(platform::open(path.c_str(), Access::readwrite, &status), invalidhandle);
    EXPECT_EQ(status.fault, Fault::denied);
    void *reader = platform::open(path.c_str(), Access::read, &status);
    EXPECT_EQ(platform::device(reader).read(in.data(), sector).bytes, sector);
    EXPECT_EQ(platform::device(reader).write(in.data(), sector).status.fault, Fault::denied);
    platform::close(reader);
    ASSERT_TRUE(protect(0)); // else it outlives the loop device

    // Pulled out while open: that is no damage, and not the end of the disk either.
    ASSERT_TRUE(disk.vanish());
    device.seek(0);
    EXPECT_EQ(device.read(in.data(), sector).status.fault, Fault::gone);
    EXPECT_EQ(device.write(out.data(), sector).status.fault, Fault::gone);
    EXPECT_EQ(device.partitionlength(size).fault, Fault::gone);
    EXPECT_EQ(device.filesize(size).fault, Fault::gone);
    platform::close(handle);
}

INSTANTIATE_TEST_SUITE_P(SectorLengths, LoopDeviceTest, ::testing::Values(512U, 4096U));

TEST(Linux, TellsTheSystemOfANewLayout)
{
    std::string why;
    if (!LoopDisk::available(why))
        GTEST_SKIP() << why;
    LoopDisk disk({std::uint64_t{64} << 20, 512, {}, {}, "parted", true});
    ASSERT_FALSE(disk.node.empty()) << disk.error;
    Status status;
    const auto device = LinuxDevice::open(disk.node, Access::readwrite, status);
    ASSERT_NE(device, nullptr) << status.code;

    // A partition that the system still knows, though no table on the disk names it any more.
    // Whether it would find one that a table does name depends on the kinds of tables that it
    // knows.
    blkpg_partition partition{};
    partition.start = 1 << 20;
    partition.length = 1 << 20;
    partition.pno = 1;
    blkpg_ioctl_arg argument{BLKPG_ADD_PARTITION, 0, sizeof partition, &partition};
    const int node = ::open(disk.node.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::ioctl(node, BLKPG, &argument), 0);
    ::close(node);
    const std::string name = disk.node.substr(disk.node.rfind('/') + 1);
    const std::string known = "/sys/block/" + name + "/" + name + "p1";
    ASSERT_TRUE(std::filesystem::exists(known));
    auto user = LinuxDevice::open(disk.node + "p1", Access::read, status);
    ASSERT_NE(user, nullptr) << status.code;
    EXPECT_EQ(device->updateproperties().fault, Fault::busy) << "someone uses the old layout";
    EXPECT_EQ(user->updateproperties().fault, Fault::badargument) << "not a whole disk";
    EXPECT_TRUE(std::filesystem::exists(known));
    user.reset();
    EXPECT_TRUE(device->updateproperties().ok());
    EXPECT_FALSE(std::filesystem::exists(known));
}

TEST(Linux, TakesADiskForItself)
{
    std::string why;
    if (!LoopDisk::available(why))
        GTEST_SKIP() << why;
    LoopDisk disk({std::uint64_t{64} << 20, 512, {}, {}, "held", true});
    ASSERT_FALSE(disk.node.empty()) << disk.error;
    const auto run = [](const std::string &command) {
        return std::system(("PATH=$PATH:/usr/sbin:/sbin; " + command + " >/dev/null 2>&1").c_str());
    };
    const auto find = [&disk] {
        std::vector<DISKINFO> list;
        getallhdinfo(list);
        for (const DISKINFO &info : list) {
            if (std::string(info.devicepath).starts_with(disk.node + "#"))
                return info;
        }
        return DISKINFO();
    };
    const TempFolder folder;
    const std::string mountpoint = folder / "a b";
    std::filesystem::create_directory(mountpoint);
    ASSERT_EQ(run("mke2fs -F -q " + disk.node), 0);
    const std::string mount = "mount -t ext4 " + disk.node + " '" + mountpoint + "'";

    // As long as one handle of several is open, nobody can mount the disk; each can write.
    const std::string path = find().devicepath;
    ASSERT_FALSE(path.empty());
    EXPECT_STREQ(find().inuse, "");
    void *first = opendisk(path.c_str());
    void *second = opendisk(path.c_str());
    std::vector<char> bytes(512, 'x');
    for (void *handle : {first, second, first})
        EXPECT_EQ(device(handle).write(bytes.data(), 512).bytes, 512U);
    closedisk(first);
    EXPECT_FALSE(updatepartitiontable(second)) << "the hold itself is not in the way";
    EXPECT_NE(run("flock --nonblock --shared " + disk.node + " true"), 0);
    EXPECT_NE(run(mount), 0);
    closedisk(second);
    EXPECT_EQ(run("flock --nonblock --shared " + disk.node + " true"), 0);

    // Mounted behind the back: it can be read, but nothing gets through to it.
    ASSERT_EQ(run("mke2fs -F -q " + disk.node), 0);
    ASSERT_EQ(run(mount), 0);
    EXPECT_EQ(std::string(find().inuse), "mounted at " + mountpoint);
    ASSERT_EQ(run("mount -o remount,ro '" + mountpoint + "'"), 0);
    const std::string before = disk.medium(0, std::size_t{64} << 20);
    void *handle = opendisk(path.c_str());
    ASSERT_NE(handle, invaliddisk);
    EXPECT_EQ(get_geometry(handle, &g), -1);
    EXPECT_EQ(readasector(handle, 5, bytes.data()), 0);
    EXPECT_EQ(writeasector(handle, 5, bytes.data()), 1);
    EXPECT_EQ(device(handle).lasterror().fault, Fault::busy);
    std::vector<PART> parts{{63, 16064, 16002, 'p', 0, 0, 0x0C}};
    firstgoodsector = 0;
    secondgoodsector = 1;
    EXPECT_NE(batch_partition(handle, parts), 0);
    closedisk(handle);
    g = geom{};
    EXPECT_EQ(disk.medium(0, std::size_t{64} << 20), before);
    EXPECT_EQ(run("umount '" + mountpoint + "'"), 0);
    EXPECT_STREQ(find().inuse, "");

    // Somebody who shows nowhere.
    const int holder = ::open(disk.node.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC);
    EXPECT_STREQ(find().inuse, "held by another program");
    ::close(holder);
}

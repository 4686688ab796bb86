// Catches what simulated disks can't show of this system: a removed disk that passes for a damaged
// one, a disk of the system or of another user that is listed as free, and writes that go to a
// cache or to what somebody else has mounted.
#include "core/diskhandle.h"
#include "platform/linux/ataidentity.h"
#include "platform/linux/describe.h"
#include "platform/linux/errors.h"
#include "platform/linux/linuxbackend.h"
#include "platform/linux/linuxdevice.h"
#include "platform/plainfile.h"

#include "tests/platform/contract.h"
#include "tests/support/loopdisk.h"
#include "tests/support/tempfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace platform;

namespace
{

/// Who uses the disk with this node.
std::string userof(const std::string &node, Backend &backend = nativebackend())
{
    std::string reason;
    bool claimable = true;
    EXPECT_TRUE(backend.inuse(node + "#disk&x#y#block", reason, claimable).ok()) << node;
    EXPECT_FALSE(claimable);
    return reason;
}

/// A fake sysfs in a folder.
struct Tree {
    /// Makes files and links below a folder, each as "name=text" or "name>target".
    void add(const std::vector<std::string> &entries, const std::string &below = "") const
    {
        for (const std::string &entry : entries) {
            const std::size_t mark = entry.find_first_of("=>");
            const std::filesystem::path path = folder / (below + entry.substr(0, mark));
            std::filesystem::create_directories(path.parent_path());
            if (entry[mark] == '>')
                std::filesystem::create_symlink(folder / entry.substr(mark + 1), path);
            else
                std::ofstream(path, std::ios::binary) << entry.substr(mark + 1) << "\n";
        }
    }

    TempFolder folder;
};

} // namespace

// A disk that is gone must not look like one full of bad sectors.
TEST(Linux, ErrorsHaveMeanings)
{
    const std::pair<Fault, std::vector<int>> rows[] = {
        {Fault::medium, {EIO, EREMOTEIO, ENODATA, EILSEQ, ETIMEDOUT, EBADMSG}},
        {Fault::gone, {ENXIO, ENODEV, ENOMEDIUM, ENOENT, ENOTDIR, ENOLINK, ESHUTDOWN, ENOTCONN}},
        {Fault::denied, {EACCES, EPERM, EROFS}},
        {Fault::busy, {EBUSY, ETXTBSY, EBADE}}};
    for (const auto &[fault, errors] : rows) {
        for (const int error : errors)
            EXPECT_EQ(faultof(error), fault) << error;
    }
}

TEST(Linux, ListsHardDisksInNaturalOrder)
{
    const Tree tree;
    for (const std::string name :
         {"sda",      "sdaa",    "sdb",     "hda",          "vda",         "xvda",  "nvme0n1",
          "nvme10n1", "nvme2n1", "mmcblk0", "mmcblk0boot0", "mmcblk0rpmb", "sr0",   "fd0",
          "ram0",     "zram0",   "dm-0",    "md0",          "nbd0",        "loop1", "nvme0c0n1",
          "sd9",      "nvme0",   "sda1",    "loop-x",       "nvme"})
        tree.add({name + "/size=2048"}, "block/");
    for (const std::string name : {"loop0", "loop2", "loop3", "loop10"})
        tree.add({name + "/loop/backing_file=/a b/x/My #1&" + name}, "block/");
    tree.add({"loop0/size=0", "loop3/ro=1", "sdz/hidden=1", "sdy/removable=1",
              "mmcblk0/device/type=MMC", "mmcblk1/device/type=SD", "sda/device/vendor=ATA     ",
              "sda/device/model=Some Disk 1\t0 ", "sda/device/rev=1.0 ",
              std::string("sda/device/vpd_pg80=\0\x80\0\x8  SER 1 ", 32),
              "vda/device/vendor=0x1af4", "vda/serial=over/lay", "vda/device/subsystem>bus/virtio",
              "nvme0n1/device/subsystem>class/nvme", "nvme0n1/device/model=" + std::string(40, 'M'),
              "nvme0n1/device/serial=S1   ", "nvme0n1/device/firmware_rev=F7"},
             "block/");

    std::vector<std::string> paths;
    ASSERT_TRUE(LinuxBackend(tree.folder.path, "/dev").listdisks(paths).ok());
    std::string nodes;
    for (const std::string &path : paths)
        nodes += path.substr(5, path.find('#') - 5) + " ";
    EXPECT_EQ(nodes, "sda sdb sdaa hda nvme0n1 nvme2n1 nvme10n1 mmcblk0 vda xvda loop2 loop10 ");
    for (const std::string &path :
         {std::string("/dev/sda#disk&ven_ATA&prod_Some_Disk_1_0&rev_1.0#SER_1#block"),
          std::string("/dev/vda#disk&ven_virtio&prod_vda&rev_0#over_lay#block"),
          "/dev/nvme0n1#disk&ven_nvme&prod_" + std::string(40, 'M') + "&rev_F7#S1#block",
          std::string("/dev/loop2#disk&ven_loop&prod_My__1_loop2&rev_0#loop2#block")})
        EXPECT_EQ(std::count(paths.begin(), paths.end(), path), 1) << path;
    EXPECT_FALSE(LinuxBackend(tree.folder / "none").listdisks(paths).ok());

    // Texts of any length fit, and are not truncated inside a character.
    std::string many;
    for (int i = 0; i < 100; i++)
        many += "\xE2\x82\xAC";
    for (const std::size_t length : {10, 50, 120, 160}) {
        const std::string path = devicepath(std::string(length, 'n'), {many, many, many, many});
        const auto has = [&path](char c) { return std::count(path.begin(), path.end(), c); };
        EXPECT_LT(path.size(), 200U);
        EXPECT_EQ(has('#'), 3) << path;
        EXPECT_EQ(has('\xE2'), has('\xAC')) << "cut inside a character";
    }
}

// A bridge's own texts give way to those of the drive behind it.
TEST(Linux, DescribesDisks)
{
    const Tree tree;
    tree.add({"model=Bridge  ", "vendor=Acme", std::string("vpd_pg80=\0\x80\0\x8 0001 ", 18),
              "wwid=t10.Bridge"},
             "pci/usb1/host6/block/sda/device/");
    tree.add({"wwid=eui.0025", "device/serial=S1 ", "device/model=N"}, "pci/nvme/nvme0/nvme0n1/");
    const auto text = [](const DiskDescription &disk) {
        return disk.bus + "," + disk.vendor + "," + disk.model + "," + disk.serial + "," + disk.wwn;
    };
    DiskDescription disk = sysfsdescription(tree.folder / "pci/nvme/nvme0/nvme0n1");
    EXPECT_EQ(text(disk), "NVMe,,N,S1,eui.0025");
    disk = sysfsdescription(tree.folder / "pci/usb1/host6/block/sda");
    EXPECT_EQ(text(disk), "USB,Acme,Bridge,0001,");
    IdentifyData drive{};
    describeata(drive, disk);
    EXPECT_EQ(text(disk), "USB,Acme,Bridge,0001,");
    std::copy_n("  DWW-1X", 8, drive.begin() + 20);
    std::copy_n("IDKS  ", 6, drive.begin() + 54);
    std::copy_n("\0\x41", 2, drive.begin() + 174);
    std::copy_n("\x01\x50\x23\x45\x67\x89\xAB\xCD", 8, drive.begin() + 216);
    describeata(drive, disk);
    EXPECT_EQ(text(disk), "USB,Acme,DISK,WD-WX1,naa.500145238967cdab");
    EXPECT_EQ(attribute("/proc/self/mem"), "") << "a file whose read fails";
}

/// Disks and the devices above them, as sysfs shows them. A device's folder is its path.
struct LayeredTree : Tree {
    LayeredTree()
    {
        for (char letter = 'a'; letter <= 'h'; letter++) {
            const std::string disk = std::string("tsd") + letter;
            const int first = (letter - 'a') * 16;
            device(disk, "8:" + std::to_string(first));
            device(disk + "/" + disk + "1", "8:" + std::to_string(first + 1));
        }
        device("tsdg/tsdg11", "259:7"); // not in the disk's range of minor numbers
        // a volume on encryption on a mirror on two disks; another volume on a third disk
        device("md7", "9:7", {"tsda/tsda1", "tsdb"});
        device("dm-0", "253:0", {"md7"});
        device("dm-1", "253:1", {"dm-0"});
        device("dm-2", "253:2", {"tsdc/tsdc1"});
        add({"md7/md/level=raid1", "dm-0/dm/uuid=CRYPT-LUKS2-1", "dm-0/dm/name=secret",
             "dm-1/dm/uuid=LVM-1", "dm-2/dm/uuid=LVM-2", "dm-2/dm/name=vg-data\x1b[2J"},
            "devices/");
        add({"tsdd>devices/tsdd", "tsde1>devices/tsde/tsde1"}, "fs/btrfs/u1/devices/");
    }
    void device(const std::string &path, const std::string &number,
                const std::vector<std::string> &lowers = {}) const
    {
        const std::string name = path.substr(path.rfind('/') + 1), link = ">devices/" + path;
        add({"devices/" + path + "/dev=" + number, "dev/block/" + number + link,
             "class/block/" + name + link,
             path == name ? "block/" + name + link : "devices/" + path + "/partition=1"});
        for (const std::string &lower : lowers)
            add({path + "/slaves/" + lower.substr(lower.rfind('/') + 1) + ">devices/" + lower,
                 lower + "/holders/" + path + link},
                "devices/");
    }
    void mounts(const std::string &lines) const { add({"proc/self/mountinfo=" + lines}); }
    /// Who uses each of these disks.
    [[nodiscard]] std::string users(const std::string &disks)
    {
        std::istringstream names(disks);
        std::string all;
        for (std::string disk; names >> disk;)
            all += disk + " " + userof("/dev/" + disk, backend) + "; ";
        return all;
    }

    LinuxBackend backend{folder.path, "/dev", folder / "proc"};
};

TEST(Linux, KnowsTheSystemAndOtherUsersThroughEveryLayer)
{
    LayeredTree tree;
    const std::pair<const char *, const char *> rows[] = {
        {"8:81 / / rw - ext4 /dev/tsdf1 rw", "f"},
        {"253:1 / / rw shared:1 master:2 - ext4 /dev/mapper/x rw", "ab"},
        {"0:30 /@ / rw - btrfs /dev/tsde1 rw", "de"},
        {"0:30 /@ / rw - btrfs /dev/root rw", "de"},   // the source is no device
        {"0:30 / / rw - overlay /dev/tsda rw", ""},    // the source has no meaning
        {"8:81 / /home rw - ext4 /dev/tsdf1 rw", "g"}, // another mount point
        {"8:81 / /", "g"}};
    for (const auto &[mount, disks] : rows) {
        tree.mounts(std::string("1 1 8:97 / / rw - ext4 x rw\n24 1 ") + mount);
        std::vector<std::string> paths;
        EXPECT_EQ(tree.backend.systemvolumes(paths).ok(), *disks != '\0') << mount;
        std::string letters;
        for (const std::string &path : paths)
            letters += path.starts_with("/dev/tsd") ? path.substr(8, path.find('#') - 8) : "";
        EXPECT_EQ(letters, disks) << mount;
    }

    tree.mounts("");
    EXPECT_EQ(tree.users("tsdf tsda tsdc md7 dm-0 tsde"),
              "tsdf ; tsda part of RAID md7; tsdc part of LVM volume vg-data?[2J; "
              "md7 part of encrypted volume secret; dm-0 part of LVM volume dm-1; "
              "tsde part of a mounted btrfs file system; ");
    const std::string most = "mounted at /" + std::string(118, 'm');
    tree.mounts("30 1 253:1 / /srv rw - ext4 /dev/mapper/x rw\n"
                "31 1 0:40 / /pool rw - btrfs /dev/tsdd rw\n"
                "32 1 8:17 / /else rw - ext4 /dev/tsdb1 rw\n"
                "33 1 259:7 / /media/my\\040disk\\134\\012\\033) rw - vfat /dev/tsdg11 rw\n"
                "34 1 0:41 / " +
                most.substr(11) + "\xE2\x82\xAC rw - bcachefs /dev/none:/dev/tsdh1 rw");
    tree.add({"proc/swaps=Filename Type Size Used Priority\n"
              "/dev/tsdc1 partition 1 0 -2\n/dev/tsdf1 file 1 0 -3"});
    EXPECT_EQ(tree.users("tsda tsdb tsdc tsde tsdf tsdg tsdh"),
              "tsda mounted at /srv; tsdb mounted at /srv; tsdc used as swap; "
              "tsde mounted at /pool; tsdf ; tsdg mounted at /media/my disk\\?\?); tsdh " +
                  most + "...; ");
    std::string reason;
    bool claimable = false;
    for (const char *unknown : {"/dev/none#a", ""})
        EXPECT_FALSE(tree.backend.inuse(unknown, reason, claimable).ok());
}

TEST(Linux, JudgesIdentities)
{
    IdentifyData wire{};
    std::copy_n("BAD si k", 8, wire.begin() + 54);
    EXPECT_TRUE(issoundidentity(wire));
    IdentifyData copy{}; // the kernel's copy, bytes of the texts swapped
    std::copy_n("AB Disk ", 8, copy.begin() + 54);
    EXPECT_FALSE(issoundidentity(IdentifyData{})) << "nothing at all";
    towireorder(copy);
    EXPECT_EQ(copy, wire);
    // a packet device, no text, a wrong checksum
    for (const auto &[at, value] : {std::pair(1U, 0x80), {60U, 0x1B}, {510U, 0xA5}}) {
        copy = wire;
        copy[at] = static_cast<std::uint8_t>(value);
        EXPECT_FALSE(issoundidentity(copy)) << at;
    }
}

TEST(Linux, OtherFilesAreNoDisksAndNoFilesOfTheProgram)
{
    const TempFolder folder;
    const std::string file = folder / "image";
    std::ofstream(file) << "precious";
    Status status;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const std::pair<std::string, Fault> refused[] = {{folder / "none", Fault::gone},
                                                     {folder.path, Fault::badargument},
                                                     {folder / "pipe", Fault::badargument},
                                                     {"/dev/zero", Fault::badargument}};
    for (const auto &[path, fault] : refused) {
        EXPECT_EQ(LinuxDevice::open(path, Access::read, status), nullptr) << path;
        EXPECT_EQ(status.fault, fault) << path;
    }
    // The program's own files: no link is followed, and no open blocks on a pipe.
    std::filesystem::create_symlink(file, folder / "link");
    std::filesystem::create_symlink(folder / "missing", folder / "dangling");
    for (const std::string &name : {folder / "link", folder / "dangling", folder / "pipe"}) {
        for (const char *mode : {"rb", "wb", "ab"})
            EXPECT_EQ(openplainfile(name.c_str(), mode), nullptr) << name << mode;
        EXPECT_FALSE(cutplainfile(name.c_str(), 0)) << name;
    }
    EXPECT_EQ(openplainfile("/dev/null", "wb"), nullptr);
    EXPECT_EQ(std::filesystem::file_size(file), 8U);
    EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
}

// The child process of a death test reads the environment again.
TEST(LinuxDeathTest, TracesFailedCallsIfAsked)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto fail = [] {
        char bytes[512];
        EXPECT_EQ(platform::open("/none", Access::read), invalidhandle);
        void *handle = platform::open("/proc/self/exe", Access::read);
        EXPECT_FALSE(device(handle).read(1, bytes, 512).status.ok());
        EXPECT_TRUE(device(handle).flush().ok());
        std::uint8_t map = 0;
        EXPECT_FALSE(device(handle).identitymap(map).ok());
        std::exit(0);
    };
    const char *const lines = "^quarn: open /none: gone, error 2 \\(No such file or directory\\)\n"
                              "quarn: read /proc/self/exe, offset 1, 512 bytes: badargument, "
                              "error 22 \\(Invalid argument\\)\n"
                              "quarn: identitymap /proc/self/exe: unsupported\n$";
    for (const auto &[value, text] : {std::pair("", "^$"), {"1", lines}}) {
        ::setenv("QUARN_TRACE", value, 1);
        EXPECT_EXIT(fail(), ::testing::ExitedWithCode(0), text);
    }
    ::unsetenv("QUARN_TRACE");
}

class LoopDevice : public ::testing::TestWithParam<std::uint32_t>
{
protected:
    void SetUp() override
    {
        std::string why;
        if (!LoopDisk::available(why))
            GTEST_SKIP() << why;
    }

    const std::uint64_t sector = GetParam();
    const std::string length = "sector=" + std::to_string(sector);
    Status status;
};

INSTANTIATE_TEST_SUITE_P(SectorLengths, LoopDevice, ::testing::Values(512U, 4096U));

TEST_P(LoopDevice, MeetsRealDamage)
{
    LoopDisk disk(40000 * sector, length + " read=500-520 read=5000 write=7000-7001");
    ASSERT_NE(disk.node, "") << disk.error;
    keepscontract([&](Access access) { return LinuxDevice::open(disk.node, access, status); },
                  40000, sector);
    const auto device = LinuxDevice::open(disk.node, Access::readwrite, status);
    ASSERT_NE(device, nullptr) << status.code;

    // Writes bypass every cache, near bad sectors or not, and only reads that touch one fail.
    std::string in(400 * sector, 'x'), out(20 * sector, 'y');
    EXPECT_EQ(device->write(501 * sector, out.data(), out.size()).bytes, out.size());
    EXPECT_EQ(disk.medium(501 * sector, out.size()), out);
    const std::tuple<std::uint64_t, std::size_t, bool> reads[] = {
        {480, 20, true}, {481, 20, false}, {520, 1, false},
        {521, 20, true}, {5001, 1, true},  {700, 150, true}};
    for (const auto &[first, count, good] : reads) {
        const Transfer transfer = device->read(first * sector, in.data(), count * sector);
        EXPECT_EQ(transfer.status.code, good ? 0 : EIO) << first;
        EXPECT_EQ(transfer.status.fault, good ? Fault::none : Fault::medium) << first;
        EXPECT_EQ(transfer.bytes == count * sector, good) << first;
        EXPECT_EQ(in.substr(0, transfer.bytes), disk.medium(first * sector, transfer.bytes));
    }
    EXPECT_EQ(device->write(6990 * sector, out.data(), 20 * sector).status.fault, Fault::medium);

    // A write-protected device opens for reading only.
    ASSERT_EQ(shell("blockdev --setro " + disk.node), 0);
    EXPECT_EQ(LinuxDevice::open(disk.node, Access::readwrite, status), nullptr);
    EXPECT_EQ(status.fault, Fault::denied);
    EXPECT_NE(LinuxDevice::open(disk.node, Access::read, status), nullptr);
    shell("blockdev --setrw " + disk.node); // it would outlive the loop device

    // Removed while open: neither damage nor the end of the disk.
    ASSERT_TRUE(disk.vanish());
    std::uint64_t size = 0;
    for (const Status &one :
         {device->read(0, in.data(), sector).status, device->write(0, out.data(), sector).status,
          device->partitionlength(size), device->filesize(size)})
        EXPECT_EQ(one.fault, Fault::gone);
}

TEST_P(LoopDevice, IsClaimedByThisProcessThatTellsOfANewLayout)
{
    LoopDisk disk(std::uint64_t{64} << 20, length + " partscan");
    const TempFolder folder;
    const std::string format = "mke2fs -F -q " + disk.node;
    const std::string mount = "mount -t ext4 " + disk.node + " " + folder.path;
    const std::string lock = "flock --nonblock --shared " + disk.node + " true";
    ASSERT_EQ(shell(format), 0) << disk.error;

    // While any handle is open, nothing can mount the disk; every handle can write.
    EXPECT_EQ(userof(disk.node), "");
    void *first = opendisk(disk.node.c_str());
    void *second = opendisk(disk.node.c_str());
    std::vector<char> bytes(sector, 'x');
    for (void *handle : {first, second, first})
        ASSERT_EQ(device(handle).write(0, bytes.data(), sector).bytes, sector);
    closedisk(first);
    // A partition that the kernel knows, but that is in no table on the disk. (Whether the kernel
    // finds one in a table depends on the table formats that it was built with.)
    ASSERT_EQ(shell("addpart " + disk.node + " 1 2048 2048"), 0);
    const std::string known = "/sys/class/block/" + disk.node.substr(5) + "p1";
    auto user = LinuxDevice::open(disk.node + "p1", Access::read, status);
    ASSERT_NE(user, nullptr) << status.code;
    EXPECT_EQ(device(second).updateproperties().fault, Fault::busy) << "the old layout is in use";
    EXPECT_EQ(user->updateproperties().fault, Fault::badargument) << "not a whole disk";
    EXPECT_TRUE(std::filesystem::exists(known));
    user.reset();
    EXPECT_FALSE(updatepartitiontable(second)) << "the claim does not block it";
    EXPECT_FALSE(std::filesystem::exists(known));
    EXPECT_NE(shell(lock), 0);
    EXPECT_NE(shell(mount), 0);
    closedisk(second);
    EXPECT_EQ(shell(lock), 0);

    // Mounted by another process: reads work, writes fail.
    ASSERT_EQ(shell(format + " && " + mount), 0);
    EXPECT_EQ(userof(disk.node), "mounted at " + folder.path);
    ASSERT_EQ(shell("mount -o remount,ro " + folder.path), 0);
    const std::string before = disk.medium(0, std::size_t{64} << 20);
    void *handle = opendisk(disk.node.c_str());
    EXPECT_EQ(get_geometry(handle, &g), -1);
    EXPECT_EQ(readasector(handle, 5, bytes.data()), 0);
    EXPECT_EQ(writeasector(handle, 5, bytes.data()), 1);
    EXPECT_EQ(device(handle).lasterror().fault, Fault::busy);
    EXPECT_EQ(claimdisk(handle), 1);
    EXPECT_FALSE(refusal(handle).empty());
    closedisk(handle);
    g = geom{};
    EXPECT_EQ(disk.medium(0, std::size_t{64} << 20), before);
    EXPECT_EQ(shell("umount " + folder.path), 0);

    // A user that sysfs does not show.
    const int holder = ::open(disk.node.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC);
    EXPECT_EQ(userof(disk.node), "held by another program");
    ::close(holder);
}

// Another disk of the same model and length behind the node is not the chosen one.
TEST_P(LoopDevice, TellsWhoHasADiskOpenWhichOneItIsAndWhatItHolds)
{
    LoopDisk disk(16 << 20, length);
    ASSERT_NE(disk.node, "") << disk.error;
    for (const auto &[mode, user] : {std::pair("<", ""), {"<>", "open for writing by "}}) {
        const std::string command = std::string("exec 3") + mode + disk.node;
        const int process = std::stoi(outputof(command + "; sleep 60 >&- & echo $!"));
        EXPECT_EQ(userof(disk.node).substr(0, 20), user);
        ::kill(process, SIGKILL);
    }

    DISKINFO chosen;
    disk.node.copy(chosen.devicepath, sizeof chosen.devicepath - 1);
    std::string refusal;
    chosen.identity = readidentity(DiskHandle(chosen.devicepath).get(), chosen.devicepath);
    EXPECT_EQ(chosen.identity.model, "disk");
    EXPECT_EQ(chosen.identity.bytespersector, sector);
    EXPECT_TRUE(openchosen(chosen, refusal)) << refusal;
    ASSERT_TRUE(disk.swap());
    EXPECT_FALSE(openchosen(chosen, refusal));
    EXPECT_NE(refusal.find("The disk was removed"), std::string::npos) << refusal;

    DiskContents contents;
    if (nativebackend().contents(disk.node, contents).fault == Fault::unsupported)
        GTEST_SKIP() << "built without libblkid";
    EXPECT_EQ(contents.table, "");
    EXPECT_TRUE(contents.volumes.empty());
    ASSERT_EQ(shell("mkswap " + disk.node), 0);
    EXPECT_TRUE(nativebackend().contents(disk.node, contents).ok());
    ASSERT_EQ(contents.volumes.size(), 1U);
    EXPECT_EQ(contents.volumes[0].filesystem, "swap");
    // an extended partition is no volume
    ASSERT_EQ(shell("printf ',4M,L\\n,,E\\n,4M,L\\n' | sfdisk -q --no-reread " + disk.node), 0);
    EXPECT_TRUE(nativebackend().contents(disk.node, contents).ok());
    ASSERT_EQ(contents.volumes.size(), 2U);
    EXPECT_EQ(contents.volumes[1].number, 5);
}

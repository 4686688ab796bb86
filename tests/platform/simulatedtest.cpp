#include "platform/simulated/simulated.h"

#include "tests/support/tempfolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <set>

using namespace platform;

namespace
{

/// A backend in use while it lives, with one disk of its own.
struct Simulation {
    explicit Simulation(std::shared_ptr<SimulatedDisk> made) : disk(std::move(made))
    {
        simulated.disks.push_back(disk);
        setbackend(&simulated);
    }
    ~Simulation() { setbackend(nullptr); }

    SimulatedBackend simulated;
    std::shared_ptr<SimulatedDisk> disk;
};

/// `sectors` sectors of `length` bytes, each filled with its number from `first` on.
std::vector<char> numbered(std::uint64_t first, std::size_t sectors, std::size_t length)
{
    std::vector<char> bytes(sectors * length);
    for (std::size_t i = 0; i < bytes.size(); i++)
        bytes[i] = static_cast<char>((first + i / length) % 251 + 1);
    return bytes;
}

Transfer readat(Device &device, std::uint64_t sector, std::size_t sectors, std::vector<char> &out,
                std::size_t length)
{
    out.assign(sectors * length, 'x');
    device.seek(sector * length);
    return device.read(out.data(), out.size());
}

Transfer writeat(Device &device, std::uint64_t sector, std::size_t sectors, std::size_t length)
{
    device.seek(sector * length);
    const auto bytes = numbered(sector, sectors, length);
    return device.write(bytes.data(), bytes.size());
}

} // namespace

TEST(SectorSet, AgreesWithNaiveModel)
{
    std::mt19937 random(20);
    // The upper end of the numbers is where a "one behind" would wrap.
    for (const std::uint64_t base : {std::uint64_t{0}, ~std::uint64_t{0} - 39}) {
        SectorSet set;
        std::set<std::uint64_t> model;
        for (int step = 0; step < 4000; step++) {
            const std::uint64_t first = base + random() % 40;
            const std::uint64_t length = random() % 8;
            const std::uint64_t last = base + std::min<std::uint64_t>(39, first - base + length);
            const bool adding = random() % 2 == 0;
            adding ? set.add(first, last) : set.remove(first, last);
            for (std::uint64_t i = 0; i <= last - first; i++)
                adding ? (void)model.insert(first + i) : (void)model.erase(first + i);

            const std::uint64_t from = base + random() % 40;
            const std::uint64_t to = base + random() % 40;
            const auto expected = model.lower_bound(from);
            const bool found = expected != model.end() && *expected <= to && from <= to;
            ASSERT_EQ(set.lowest(from, to), found ? std::optional(*expected) : std::nullopt);
            ASSERT_EQ(set.contains(from), model.count(from) == 1);
            ASSERT_EQ(set.empty(), model.empty());
        }
        set.add(base + 5, base + 3);
        EXPECT_EQ(set.contains(base + 4), model.count(base + 4) == 1);
    }
}

class SimulatedDiskTest : public ::testing::TestWithParam<std::uint32_t>
{
};

TEST_P(SimulatedDiskTest, FailsAsPlanned)
{
    const std::size_t length = GetParam();
    Simulation simulation(simulateddisk("sim#disk&ven_a#1#c", 1000 * length, GetParam()));
    FaultPlan &plan = *simulation.disk->faults;
    plan.unreadable.add(100, 102);
    plan.unwritable.add(200);
    plan.lying.add(300);
    plan.faildelay = std::chrono::milliseconds(30);
    void *handle = platform::open("sim#disk&ven_a#1#c", Access::readwrite);
    ASSERT_NE(handle, invalidhandle);
    Device &device = platform::device(handle);
    std::vector<char> bytes;

    // Damage fails what touches it, slowly, moves nothing, and leaves the handle usable.
    const auto before = std::chrono::steady_clock::now();
    Transfer transfer = readat(device, 81, 20, bytes, length);
    EXPECT_GE(std::chrono::steady_clock::now() - before, plan.faildelay);
    EXPECT_EQ(transfer.status.fault, Fault::medium);
    EXPECT_EQ(transfer.bytes, 0U);
    EXPECT_EQ(device.lasterror().fault, Fault::medium);
    plan.faildelay = {};
    EXPECT_EQ(readat(device, 80, 20, bytes, length).bytes, 20 * length);
    EXPECT_EQ(bytes, std::vector<char>(20 * length, 0));
    EXPECT_FALSE(device.read(bytes.data(), length).status.ok()) << "the position moved to 100";
    EXPECT_EQ(readat(device, 103, 1, bytes, length).bytes, length);
    EXPECT_EQ(writeat(device, 101, 1, length).bytes, length) << "unreadable only";
    EXPECT_EQ(writeat(device, 190, 20, length).status.fault, Fault::medium);
    EXPECT_EQ(readat(device, 190, 20, bytes, length).bytes, 20 * length);
    EXPECT_EQ(bytes, std::vector<char>(20 * length, 0)) << "nothing of the failed write landed";

    // A lying sector gives other bytes back, its neighbours what was written.
    EXPECT_EQ(writeat(device, 299, 3, length).bytes, 3 * length);
    EXPECT_EQ(readat(device, 299, 3, bytes, length).bytes, 3 * length);
    auto expected = numbered(299, 3, length);
    for (std::size_t i = 0; i < expected.size(); i++)
        EXPECT_EQ(bytes[i] == expected[i], i / length != 1) << i;

    // Short transfers succeed, once each, and the position moves by what came.
    plan.shortreads = {{400, 5 * length}, {420, 100}};
    plan.shortwrites = {{500, 3 * length + 10}};
    ASSERT_EQ(writeat(device, 400, 100, length).bytes, 100 * length);
    transfer = readat(device, 400, 20, bytes, length);
    EXPECT_TRUE(transfer.status.ok());
    EXPECT_EQ(transfer.bytes, 5 * length);
    EXPECT_EQ(device.read(bytes.data(), length).bytes, length);
    EXPECT_EQ(bytes[0], numbered(405, 1, length)[0]);
    transfer = readat(device, 430, 1, bytes, length);
    EXPECT_EQ(transfer.bytes, 100U);
    EXPECT_EQ(std::vector<char>(bytes.begin(), bytes.begin() + 101),
              (expected = numbered(430, 1, length), expected[100] = 'x',
               std::vector<char>(expected.begin(), expected.begin() + 101)));
    EXPECT_EQ(device.read(bytes.data(), length).status.fault, Fault::badargument)
        << "inside a sector nothing can be moved";
    EXPECT_EQ(readat(device, 430, 1, bytes, length).bytes, length);
    transfer = writeat(device, 500, 20, length);
    EXPECT_TRUE(transfer.status.ok());
    EXPECT_EQ(transfer.bytes, 3 * length + 10);
    EXPECT_EQ(readat(device, 500, 4, bytes, length).bytes, 4 * length);
    EXPECT_EQ(bytes[3 * length - 1], numbered(502, 1, length)[0]);
    EXPECT_EQ(bytes[3 * length], 0) << "only whole sectors land";

    // The end, parts of sectors, and a handle for reading alone.
    EXPECT_EQ(writeat(device, 990, 20, length).bytes, 10 * length);
    EXPECT_FALSE(device.lasterror().ok());
    transfer = readat(device, 990, 20, bytes, length);
    EXPECT_TRUE(transfer.status.ok());
    EXPECT_EQ(transfer.bytes, 10 * length);
    EXPECT_EQ(readat(device, 1000, 1, bytes, length).bytes, 0U);
    EXPECT_FALSE(writeat(device, 1000, 1, length).status.ok());
    device.seek(length / 2);
    EXPECT_EQ(device.read(bytes.data(), length).status.fault, Fault::badargument);
    device.seek(0);
    EXPECT_EQ(device.write(bytes.data(), length + 1).status.fault, Fault::badargument);
    void *reader = platform::open("sim#disk&ven_a#1#c", Access::read);
    EXPECT_EQ(platform::device(reader).write(bytes.data(), length).status.fault, Fault::denied);
    platform::close(reader);

    // Gone means gone for every operation, every handle and every new open, until it is back.
    plan.vanishafter = 2;
    EXPECT_EQ(readat(device, 0, 1, bytes, length).bytes, length);
    EXPECT_EQ(device.seek(0).fault, Fault::gone);
    EXPECT_EQ(device.read(bytes.data(), length).status.fault, Fault::gone);
    EXPECT_EQ(device.write(bytes.data(), length).status.fault, Fault::gone);
    EXPECT_EQ(device.flush().fault, Fault::gone);
    std::uint64_t size = 7;
    EXPECT_EQ(device.partitionlength(size).fault, Fault::gone);
    EXPECT_EQ(size, 7U);
    EXPECT_EQ(device.updateproperties().fault, Fault::gone);
    Status status;
    EXPECT_EQ(platform::open("sim#disk&ven_a#1#c", Access::read, &status), invalidhandle);
    EXPECT_EQ(status.fault, Fault::gone);
    plan.vanishafter.reset();
    EXPECT_TRUE(device.partitionlength(size).ok());
    EXPECT_EQ(size, 1000 * length);
    platform::close(handle);
}

INSTANTIATE_TEST_SUITE_P(SectorLengths, SimulatedDiskTest, ::testing::Values(512U, 4096U));

TEST(SimulatedBackend, AnswersAndRecords)
{
    Simulation simulation(simulateddisk("a#b&c#d#e", DriveGeometry{3, 4, 5, 512}));
    SimulatedDisk &disk = *simulation.disk;
    EXPECT_EQ(disk.bytes, 3U * 4 * 5 * 512);
    auto other = simulateddisk("volume", 20'000'000'000, 4096);
    other->listed = false;
    simulation.simulated.disks.push_back(other);
    EXPECT_EQ(other->geometry->cylinders, 20'000'000'000 / (255 * 63 * 4096ULL));
    EXPECT_EQ(other->filesizelow, 2820130816U);
    disk.identity = identitywithmodel("AB C");
    EXPECT_EQ((*disk.identity)[54], 'B') << "words are little-endian, the first character high";
    EXPECT_EQ((*disk.identity)[55], 'A');
    EXPECT_EQ((*disk.identity)[56], 'C');
    EXPECT_EQ((*disk.identity)[93], ' ');
    EXPECT_EQ((*disk.identity)[94], 0);

    std::vector<std::string> paths;
    EXPECT_TRUE(backend().listdisks(paths).ok());
    EXPECT_EQ(paths, std::vector<std::string>{"a#b&c#d#e"});
    EXPECT_EQ(backend().systemvolumes(paths).fault, Fault::unsupported);

    void *handle = platform::open("a#b&c#d#e", Access::readwrite);
    Device &device = platform::device(handle);
    std::vector<char> bytes(20 * 512);
    disk.faults->unreadable.add(41);
    for (const std::size_t sectors : {20, 20, 5})
        device.read(bytes.data(), sectors * 512);
    std::uint8_t map = 0;
    EXPECT_EQ(device.identitymap(map).fault, Fault::unsupported);
    EXPECT_TRUE(device.updateproperties().ok());
    disk.updatefails = true;
    EXPECT_FALSE(device.updateproperties().ok());
    platform::close(handle);
    disk.opens = false;
    Status status;
    EXPECT_EQ(platform::open("a#b&c#d#e", Access::read, &status), invalidhandle);
    EXPECT_EQ(status.fault, Fault::denied);

    const Recording &recording = *disk.recording;
    EXPECT_EQ(recording.transfers(Operation::Kind::read, 512),
              (std::vector<std::uint64_t>{20, 20, 5}));
    std::string course;
    for (const Operation &operation : recording.operations)
        course += "ocsrw?"[static_cast<int>(operation.kind)];
    EXPECT_EQ(course, "orrr???c");
    EXPECT_EQ(recording.operations[2].offset, 20U * 512);
    EXPECT_EQ(recording.operations[3].status.fault, Fault::medium);
    EXPECT_EQ(recording.operations[3].moved, 0U);
    EXPECT_EQ(recording.operations[4].what, "identitymap");

    // A caller that overlooks the failed open gets failures, from every operation.
    Device &none = platform::device(invalidhandle);
    std::uint64_t size = 0;
    bool removable = false;
    for (const Fault fault :
         {none.seek(0).fault, none.read(bytes.data(), 512).status.fault,
          none.write(bytes.data(), 512).status.fault, none.flush().fault,
          none.partitionlength(size).fault, none.removable(removable).fault,
          none.updateproperties().fault, platform::device(nullptr).filesize(size).fault})
        EXPECT_EQ(fault, Fault::badargument);
    platform::close(invalidhandle);
}

TEST(SectorStore, MemoryAndImageKeepWhatWasWritten)
{
    TempFolder folder;
    constexpr std::uint64_t size = std::uint64_t{5} << 30;
    const std::string file = folder / "image";
    const auto image = imagestore(file, size);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(imagestore(folder / "none/image", size), nullptr);
    const auto memory = memorystore();
    const std::vector<char> written = numbered(1, 3, 4096);
    const std::uint64_t far = size - 3 * 4096 - 512; // across pages and beyond 32 bits
    for (const auto &store : {memory, image}) {
        std::vector<char> bytes(written.size(), 'x');
        EXPECT_TRUE(store->load(far, bytes.data(), bytes.size()));
        EXPECT_EQ(bytes, std::vector<char>(bytes.size(), 0));
        EXPECT_TRUE(store->save(far, written.data(), written.size()));
        EXPECT_TRUE(store->load(far, bytes.data(), bytes.size()));
        EXPECT_EQ(bytes, written);
        EXPECT_TRUE(store->load(far - 512, bytes.data(), 1024));
        EXPECT_EQ(bytes[511], 0);
        EXPECT_EQ(bytes[512], written[0]);
    }
    EXPECT_EQ(std::filesystem::file_size(file), size);
    std::vector<char> bytes(written.size());
    EXPECT_TRUE(imagestore(file, size)->load(far, bytes.data(), bytes.size()));
    EXPECT_EQ(bytes, written) << "a second run finds the first one's image";
    std::filesystem::resize_file(file, far + 4096);
    EXPECT_TRUE(image->load(far, bytes.data(), bytes.size()));
    EXPECT_EQ(bytes[4095], written[4095]);
    EXPECT_EQ(bytes[4096], 0) << "a file shorter than its disk ends in zeros";
}

#include "tests/core/coretest.h"

#include <cstring>

namespace
{

using platform::simulateddisk;

class Enumeration : public CoreTest
{
protected:
    std::vector<DISKINFO> list()
    {
        std::vector<DISKINFO> disks;
        getallhdinfo(disks);
        return disks;
    }

    std::shared_ptr<platform::SimulatedDisk> addata(const std::string &path,
                                                    const std::string &model, std::uint8_t map = 1)
    {
        auto disk = add(simulateddisk(path, 500'000'000'000));
        disk->identitymap = map;
        disk->identity = platform::identitywithmodel(model);
        return disk;
    }
};

TEST_F(Enumeration, ListsWhatCanBeUsedInTheSystemsOrder)
{
    const std::string usb = "\\\\?\\usbstor#disk&ven_Acme&prod_Box&rev_1.0#0001&0#{53f56307}";
    addata("first", "SPINNER  2000 XL");
    add(simulateddisk(usb, 1'999'999))->partitionlength.reset(); // the size by its geometry: 0
    backend.disks.back()->geometry = platform::DriveGeometry{3, 255, 63, 512};
    add(simulateddisk("stick", 1 << 30))->removable = true;
    add(simulateddisk("locked", 1 << 30))->opens = false;
    addata("silent", "X")->identity.reset(); // has one, but will not tell
    add(simulateddisk("/dev/plain", maxdiskbytes));
    add(simulateddisk("huge", maxdiskbytes + 1));
    add(simulateddisk(std::string(199, 'p'), 1 << 30));
    add(simulateddisk(std::string(200, 'q'), 1 << 30));
    auto unknown = add(simulateddisk("unknown", 1 << 30));
    unknown->partitionlength.reset();
    unknown->geometry.reset();
    unknown->filesize.reset();
    unknown->filesizelow.reset();

    const auto disks = list();
    std::vector<std::string> rows;
    for (const DISKINFO &disk : disks)
        rows.push_back(std::string(disk.model) + " " + std::to_string(disk.sizemb));
    EXPECT_EQ(rows, (std::vector<std::string>{"SPINNER2000XL 500000",
                                              "ven_Acme-prod_Box-rev_1.0 24", "plain 2199023",
                                              std::string(79, 'p') + " 1073", "unknown 0"}));
    EXPECT_STREQ(disks[1].devicepath, usb.c_str());
    EXPECT_EQ(std::strlen(disks[3].devicepath), 199U);
    for (const DISKINFO &disk : disks)
        EXPECT_FALSE(disk.runningos) << disk.model;

    // whoever uses a disk is named with it, cut to fit
    backend.disks[0]->inuse = "mounted at /" + std::string(300, 'm');
    backend.disks[1]->inuse = "";
    EXPECT_EQ(std::string(list()[0].inuse), "mounted at /" + std::string(187, 'm'));
    EXPECT_STREQ(list()[1].inuse, "");

    backend.listfails = true;
    std::vector<std::string> names;
    EXPECT_EQ(getalldevicenames(names), 1);
}

TEST_F(Enumeration, MarksTheSystemsDiskByItsModelAlone)
{
    addata("system", "TWIN");
    addata("twin", "TWIN ");
    add(simulateddisk("bare", 1 << 30));
    const auto marks = [this] {
        std::string text;
        for (const DISKINFO &disk : list())
            text += disk.runningos ? 'x' : '.';
        return text;
    };
    backend.systempaths = {"system"};
    EXPECT_EQ(marks(), "xx.");
    // a system volume without a model marks nothing, not even disks that have none either
    auto volume = add(simulateddisk("\\\\.\\C:", 1 << 30));
    volume->listed = false;
    backend.systempaths = {volume->path};
    EXPECT_EQ(marks(), "...");
    volume->opens = false;
    EXPECT_EQ(marks(), "...");
    backend.systempaths.clear();
    EXPECT_EQ(marks(), "...");
    // a system on several disks; one that carries it is refused also without a model
    addata("other", "OTHER");
    addata("nameless", "");
    addata("nameless too", "");
    backend.systempaths = {"nameless", "other"};
    EXPECT_EQ(marks(), "...xx.");
}

TEST_F(Enumeration, IdentityCommandFollowsTheMap)
{
    // The device tells which command it was sent by what it makes of it.
    class Identified : public platform::SimulatedBackend
    {
    public:
        std::vector<platform::IdentifyCommand> sent;
        std::uint8_t map = 0;
        std::unique_ptr<platform::Device> open(const std::string &, platform::Access,
                                               platform::Status &) override
        {
            class One : public platform::Device
            {
            public:
                explicit One(Identified *owner) : owner(owner) {}
                platform::Status doseek(std::uint64_t) override { return {}; }
                platform::Transfer doread(void *, std::size_t) override { return {}; }
                platform::Transfer dowrite(const void *, std::size_t) override { return {}; }
                platform::Status doidentitymap(std::uint8_t &answer) override
                {
                    answer = owner->map;
                    return {};
                }
                platform::Status doidentify(const platform::IdentifyCommand &command,
                                            platform::IdentifyData &data) override
                {
                    owner->sent.push_back(command);
                    data = platform::identitywithmodel("M");
                    return {};
                }
                Identified *owner;
            };
            return std::make_unique<One>(this);
        }
    } identified;
    platform::setbackend(&identified);
    const struct {
        std::uint8_t map, command, drive, head;
    } rows[] = {{0x01, 0xEC, 0, 0xA0},
                {0x02, 0xEC, 1, 0xB0},
                {0x0C, 0xEC, 2, 0xA0},
                {0x10, 0xA1, 0, 0xA0},
                {0x81, 0xA1, 3, 0xB0}};
    for (const auto &row : rows) {
        char model[80];
        identified.map = row.map;
        identified.sent.clear();
        EXPECT_EQ(getdisk("any", model), 0);
        EXPECT_STREQ(model, "M");
        ASSERT_EQ(identified.sent.size(), 1U);
        EXPECT_EQ(identified.sent[0].command, row.command);
        EXPECT_EQ(identified.sent[0].drive, row.drive);
        EXPECT_EQ(identified.sent[0].drivehead, row.head);
    }
}

TEST_F(Enumeration, ModelTextsFromPaths)
{
    const struct {
        const char *path, *model;
    } rows[] = {{"p#disk&ven_x&prod_y&rev_z#1&2#c", "ven_x-prod_y-rev_z"},
                {"p#disk#serial&0#c", "0"}, // no mark in the device part: on into the instance
                {"p#disk#a&b&c", "b-c"},
                {"p#disk&#i#c", ""},
                {"p#disk#i#c&x", ""},
                {"p#disk&ven_x", ""},
                {"\\\\.\\C:", ""},
                {"", ""}};
    for (const auto &row : rows) {
        char model[80];
        std::memset(model, 'z', sizeof model);
        const bool found = getusbsnmodel(row.path, model) == 0;
        EXPECT_STREQ(model, row.model) << row.path;
        EXPECT_TRUE(found || row.model[0] == '\0');
    }
    char model[80];
    EXPECT_EQ(getusbsnmodel(("p#d&" + std::string(300, 'm') + "#i#c").c_str(), model), 0);
    EXPECT_EQ(std::string(model), std::string(79, 'm'));
}

TEST_F(Enumeration, SizeTakesTheFirstWayThatWorks)
{
    auto disk = add(simulateddisk("disk", 1 << 30));
    disk->partitionlength = 1;
    disk->geometry = platform::DriveGeometry{2, 1, 1, 512};
    disk->filesize = 3;
    disk->filesizelow = 4;
    char path[] = "disk";
    const auto size = [&] {
        unsigned long long bytes = 77;
        EXPECT_EQ(diskbytesize(path, &bytes), 0);
        return bytes;
    };
    EXPECT_EQ(size(), 1U);
    disk->partitionlength.reset();
    EXPECT_EQ(size(), 1024U);
    disk->geometry.reset();
    EXPECT_EQ(size(), 3U);
    disk->filesize.reset();
    EXPECT_EQ(size(), 4U);
    disk->filesizelow = 0xFFFFFFFF;
    EXPECT_EQ(size(), 77U);
    disk->filesizelow.reset();
    EXPECT_EQ(size(), 77U);
    unsigned long long bytes = 77;
    EXPECT_EQ(diskbytesize(invaliddisk, &bytes), -1);
    char missing[] = "missing";
    EXPECT_EQ(diskbytesize(missing, &bytes), -1);
    EXPECT_EQ(bytes, 77U);
}

} // namespace

// Catches another disk that passes for the chosen one, and the chosen one that does not.
#include "core/diskhandle.h"
#include "tests/core/coretest.h"

namespace
{

using namespace platform;

// Both systems and all bridges must come to the same number, in files that go from one to another.
TEST(DiskIdentity, SerialsAreNormalised)
{
    const char *const rows[][2] = {{"  WD-wx1 2345\n", "WDWX12345"},
                                   {"00000000WDWX12345", "WDWX12345"},
                                   {"WD_WX12345.", "WDWX12345"},
                                   {"0000 0000", ""},
                                   {"\x01\xC3\xA4", ""},
                                   {"1000", "1000"}};
    for (const auto &[text, normal] : rows)
        EXPECT_EQ(normalserial(text), normal) << text;
    EXPECT_EQ(serialchecksum("123456789"), 0xCBF43926U); // the check value of this CRC
    EXPECT_EQ(serialchecksum(""), 0U);
}

/// Disks that describe themselves: "serial|wwn|instance", the model is "M".
class Identity : public CoreTest
{
protected:
    std::shared_ptr<RecordedDisk> adddisk(const std::string &path, const std::string &texts,
                                          std::uint64_t bytes = 1 << 20,
                                          std::uint32_t bytespersector = 512)
    {
        auto disk = add(path, bytes, bytespersector);
        disk->sectorsize = bytespersector;
        describe(*disk, texts);
        return disk;
    }
    static void describe(SimulatedDisk &disk, const std::string &texts)
    {
        std::istringstream words(texts);
        DiskDescription description;
        for (std::string *one : {&description.serial, &description.wwn, &description.instance})
            std::getline(words, *one, '|');
        description.model = "M";
        disk.description = description;
    }
    /// Serial number and instance of what is opened for the chosen disk now, else the reason.
    std::string found()
    {
        std::string refusal, where;
        const DiskHandle disk = openchosen(chosen, refusal, &where);
        const DiskIdentity now = readidentity(disk.get(), "");
        return disk ? now.serial + "@" + now.instance + " " + where : refusal.substr(23);
    }

    DISKINFO chosen;
};

TEST_F(Identity, OnlyTheChosenDiskIsOpened)
{
    // the chosen disk; what is there now, its length and that of its sectors; a part of the reason
    // why that is not opened, empty if it is
    const std::tuple<const char *, const char *, std::uint64_t, std::uint32_t, const char *>
        rows[] = {{"S1|w1|i1", "S1|w1|i1", 1 << 20, 512, ""},
                  {"S1|w1|i1", " s-1 |w1|i2", 1 << 20, 512, ""}, // it came back
                  {"|w1|i1", "S1|w1|i2", 1 << 20, 512, ""},
                  {"||i1", "||i1", 1 << 20, 512, ""},
                  {"||", "||", 1 << 20, 512, ""}, // a system that tells nothing
                  {"S1||i1", "||i1", 1 << 20, 512, ""},
                  {"S1|w1|i1", "S2|w1|i2", 1 << 20, 512, "number is S2, that"},
                  {"S1|w1|i1", "S1|w2|i1", 1 << 20, 512, "world wide name is w2"},
                  {"S1|w1|i1", "S1|w1|i1", 2 << 20, 512, "length in bytes is 2097152"},
                  {"S1|w1|i1", "S1|w1|i1", 1 << 20, 4096, "sector length in bytes is 4096"},
                  {"||i1", "||i2", 1 << 20, 512, "removed"},
                  {"S1||i1", "||i2", 1 << 20, 512, "does not tell"},
                  {"S1||", "||", 1 << 20, 512, "does not tell"}};
    for (const auto &[before, now, bytes, bytespersector, reason] : rows) {
        backend.disks.clear();
        adddisk("n", before);
        chosen = list().at(0);
        backend.disks.clear();
        adddisk("n", now, bytes, bytespersector);
        adddisk("m", "||"); // a twin without a number is never taken
        EXPECT_NE(found().find(*reason == '\0' ? "@" : reason), std::string::npos)
            << before << " " << now << ": " << found();
    }
}

// Another disk has its node, it has that of a third one, and a twin without a number stands there.
TEST_F(Identity, TheDiskIsFoundUnderAnotherNode)
{
    const auto first = adddisk("sdb", "S1||i1"), nameless = adddisk("sdd", "||i3"),
               second = adddisk("sdc", "S2||i2");
    chosen = list().at(0);
    describe(*first, "S2||i4");
    describe(*second, "S1||i5");
    nameless->recording->clear();
    EXPECT_EQ(found(), "S1@i5 sdc");
    EXPECT_EQ(nameless->recording->count(Operation::Kind::open), 1U); // to look, not to claim
    int opens = 0; // it goes between a look at it and its opening
    second->wrap = [&](std::unique_ptr<Device> device) {
        if (++opens == 2)
            describe(*second, "S3||i6");
        return device;
    };
    EXPECT_EQ(found(), "It is not there, but another disk in its place. Its serial number is S2, "
                       "that of the chosen disk is S1.");
    first->opens = false;
    EXPECT_EQ(found(), "No rights.");
    second->opens = nameless->opens = false;
    backend.disks.clear();
    EXPECT_EQ(found(), "The disk is not there.");
}

} // namespace

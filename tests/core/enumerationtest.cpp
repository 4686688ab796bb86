// Catches a disk that is listed with another one's name or size, or the system's disk that is not
// marked.
#include "tests/core/coretest.h"

#include <cstring>

namespace
{

using namespace platform;

class Enumeration : public CoreTest
{
protected:
    std::shared_ptr<SimulatedDisk> addata(const std::string &path, const std::string &model)
    {
        auto disk = add(path, 500'000'000'000);
        disk->identitymap = std::uint8_t{1};
        disk->identity = identitywithmodel(model);
        return disk;
    }
    /// A disk that refuses the first `refused` ways to its size.
    void addsilent(const std::string &path, int refused)
    {
        auto disk = add(path, 9'000'000);
        disk->geometry = DriveGeometry{3, 255, 63, 512};
        disk->filesize = 7'999'999;
        disk->filesizelow = refused < 4 ? 6'000'000 : 0xFFFFFFFF;
        if (refused > 0)
            disk->partitionlength.reset();
        if (refused > 1)
            disk->geometry.reset();
        if (refused > 2)
            disk->filesize.reset();
    }
};

TEST_F(Enumeration, ListsUsableDisksInTheSystemsOrder)
{
    const std::string usb = "\\\\?\\usbstor#disk&ven_Acme&prod_Box&rev_1.0#0001&0#{53f56307}";
    addata("first", "SPINNER  2000 XL")->inuse = "mounted at /" + std::string(300, 'm');
    addsilent(usb, 0);
    add("stick", 1 << 30)->removable = true;
    add("locked", 1 << 30)->opens = false;
    addata("silent", "X")->identity.reset(); // it has an identity, but refuses it
    add("/dev/plain", maxmbrsectors * 512)->inuse = "";
    add("huge", (maxmbrsectors + 255 * 63) * 512);
    const auto longsectors = add("long", maxmbrsectors * 4096, 4096);
    longsectors->sectorsize = 4096;
    add(std::string(199, 'p'), 1 << 30);
    add(std::string(200, 'q'), 1 << 30);
    for (int refused = 1; refused < 5; refused++)
        addsilent("size" + std::to_string(refused), refused);

    std::vector<std::string> rows;
    for (const DISKINFO &disk : list())
        rows.push_back(std::string(disk.model) + " " + std::to_string(disk.sizemb) + " " +
                       disk.inuse + (disk.runningos ? "!" : "") + (disk.guidtable ? "guid" : ""));
    EXPECT_EQ(rows, (std::vector<std::string>{
                        "SPINNER2000XL 500000 mounted at /" + std::string(187, 'm'),
                        "ven_Acme-prod_Box-rev_1.0 9 ", "plain 2199023 ", "huge 2199031 guid",
                        "long 17592186 ", std::string(79, 'p') + " 1073 ", "size1 24 ", "size2 7 ",
                        "size3 6 ", "size4 0 "}));
    EXPECT_EQ(list()[1].devicepath, usb);
    EXPECT_EQ(list()[5].devicepath, std::string(199, 'p'));

    // what is left out is named, with the reason
    std::string left;
    for (const UnlistedDisk &disk : unlisteddisks(list()))
        left += disk.node.substr(0, 6) + ": " + disk.reason + "\n";
    EXPECT_EQ(left, "stick: removable medium\nlocked: " + reasontext({Fault::denied, 0}) +
                        "\nsilent: it does not tell what it is\nqqqqqq: it does not tell what it "
                        "is\n");

    backend.listfails = true;
    std::vector<std::string> names;
    EXPECT_EQ(getalldevicenames(names), 1);
}

TEST_F(Enumeration, MarksTheSystemsDiskByItsModelAlone)
{
    addata("system", "TWIN");
    addata("twin", "TWIN ");
    add("\\\\.\\C:", 1 << 30)->listed = false;
    addata("other", "OTHER");
    addata("nameless", "");
    addata("nameless too", "");
    const std::pair<std::vector<std::string>, const char *> rows[] = {
        {{}, "....."},
        {{"system"}, "xx..."},
        // a volume without a model marks no disk, also none without a model
        {{"\\\\.\\C:"}, "....."},
        // a system on several disks: all are marked, also one without a model
        {{"nameless", "other"}, "..xx."}};
    for (const auto &[systempaths, marks] : rows) {
        backend.systempaths = systempaths;
        std::string text;
        for (const DISKINFO &disk : list())
            text += disk.runningos ? 'x' : '.';
        EXPECT_EQ(text, marks);
    }
}

TEST_F(Enumeration, IdentityCommandFollowsTheMap)
{
    const auto disk = addata("any", "ABC");
    const std::uint8_t maps[] = {0x01, 0x02, 0x0C, 0x81};
    for (const std::uint8_t map : maps) {
        disk->identitymap = map;
        char model[80];
        EXPECT_EQ(getdisk("any", model), 0) << int{map};
        EXPECT_STREQ(model, "ABC");
    }
}

TEST_F(Enumeration, ModelTextsFromPaths)
{
    const std::tuple<const char *, const char *, int> rows[] = {
        {"p#disk#serial&0#c", "0", 0}, // no & in the device part: the one in the instance part
        {"p#disk#a&b&c", "b-c", 0},    {"p#disk&#i#c", "", 0}, {"p#disk#i#c&x", "", -1},
        {"p#disk&ven_x", "", -1},      {"\\\\.\\C:", "", -1}};
    for (const auto &[path, expected, result] : rows) {
        char model[80];
        std::memset(model, 'z', sizeof model);
        EXPECT_EQ(getusbsnmodel(path, model), result) << path;
        EXPECT_STREQ(model, expected) << path;
    }
}

} // namespace

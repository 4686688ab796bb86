#include "platform/linux/ataidentity.h"

#include "platform/linux/errors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <numeric>
#include <span>
#include <utility>

#include <linux/hdreg.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>

namespace platform
{

namespace
{

/// Timeout in milliseconds. A drive in standby answers it without spinning up.
constexpr unsigned int commandtimeout = 10000;

/// Words of the identity that contain text, both ends inclusive: serial, firmware, model.
constexpr std::array<std::pair<std::size_t, std::size_t>, 3> textwords{
    {{10, 19}, {23, 26}, {27, 46}}};

// Fields of an ATA pass-through command block.
constexpr std::uint8_t passthrough16 = 0x85;
constexpr std::uint8_t passthrough12 = 0xA1;
constexpr std::uint8_t pioin = 4 << 1;       // protocol: PIO data-in
constexpr std::uint8_t onesectorfrom = 0x0E; // from the drive; the length is the sector count

Status passthrough(int descriptor, std::span<std::uint8_t> block, IdentifyData &data)
{
    std::array<std::uint8_t, 64> sense{};
    sg_io_hdr request{};
    request.interface_id = 'S';
    request.dxfer_direction = SG_DXFER_FROM_DEV;
    request.cmdp = block.data();
    request.cmd_len = static_cast<unsigned char>(block.size());
    request.dxferp = data.data();
    request.dxfer_len = static_cast<unsigned int>(data.size());
    request.sbp = sense.data();
    request.mx_sb_len = static_cast<unsigned char>(sense.size());
    request.timeout = commandtimeout;
    if (::ioctl(descriptor, SG_IO, &request) != 0)
        return {faultof(errno), errno};
    // some bridges report success as a "recovered error"
    const bool described = (sense[0] & 0x7E) == 0x72;
    const bool recovered =
        request.status == 2 && (sense[described ? 1 : 2] & 0x0F) <= 1 && request.sb_len_wr > 2;
    if (request.host_status != 0 || (request.status != 0 && !recovered) || request.resid != 0)
        return {Fault::unsupported, 0};
    return Status::success();
}

} // namespace

bool issoundidentity(const IdentifyData &data)
{
    // the top bit of word 0 is set for drives that are no disks
    if ((data[1] & 0x80) != 0)
        return false;
    // the last word may contain a signature and a checksum that makes the sum of all bytes 0
    if (data[510] == 0xA5 &&
        static_cast<std::uint8_t>(std::accumulate(data.begin(), data.end(), 0)) != 0)
        return false;
    const auto [first, last] = textwords[2];
    bool named = false;
    for (std::size_t i = 2 * first; i < 2 * (last + 1); ++i) {
        if (data[i] != 0 && (data[i] < 0x20 || data[i] >= 0x7F))
            return false;
        named = named || data[i] > 0x20;
    }
    return named;
}

void towireorder(IdentifyData &data)
{
    for (const auto &[first, last] : textwords) {
        for (std::size_t word = first; word <= last; ++word)
            std::swap(data[2 * word], data[2 * word + 1]);
    }
}

Status ataidentity(int descriptor, const IdentifyCommand &command, IdentifyData &data)
{
    std::array<std::uint8_t, 16> block16{};
    block16[0] = passthrough16;
    block16[1] = pioin;
    block16[2] = onesectorfrom;
    block16[6] = 1; // sector count
    block16[13] = command.drivehead;
    block16[14] = command.command;
    std::array<std::uint8_t, 12> block12{};
    block12[0] = passthrough12;
    block12[1] = pioin;
    block12[2] = onesectorfrom;
    block12[4] = 1;
    block12[8] = command.drivehead;
    block12[9] = command.command;

    IdentifyData answer{};
    for (const std::span<std::uint8_t> block :
         {std::span<std::uint8_t>(block16), std::span<std::uint8_t>(block12)}) {
        const Status status = passthrough(descriptor, block, answer);
        if (status.ok() && issoundidentity(answer)) {
            data = answer;
            return Status::success();
        }
        if (status.fault == Fault::gone)
            return status;
        // a device that rejects one command length rejects the other as well
        if (status.code != 0)
            break;
    }
    answer = {};
    if (::ioctl(descriptor, HDIO_GET_IDENTITY, answer.data()) != 0)
        return {faultof(errno), errno};
    towireorder(answer);
    if (!issoundidentity(answer))
        return {Fault::unsupported, 0};
    data = answer;
    return Status::success();
}

} // namespace platform

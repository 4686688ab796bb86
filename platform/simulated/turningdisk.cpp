#include "platform/simulated/turningdisk.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

namespace platform
{

TurningDisk::TurningDisk(std::unique_ptr<Device> decorated, std::shared_ptr<Turning> mechanics)
    : Decorator(std::move(decorated)), disk(std::move(mechanics))
{
}

void TurningDisk::access(std::uint64_t offset, std::size_t bytes, bool reading, double earliest)
{
    const double sectortime = disk->revolution / disk->sectorspertrack;
    const std::size_t sectors = bytes / disk->bytespersector;
    const double time = static_cast<double>(sectors) * sectortime;
    const std::uint64_t sector = offset / disk->bytespersector;
    double begins = disk->passed;
    const bool runson = sector == disk->head && reading == disk->reading;
    if (!runson || (!reading && earliest > disk->passed)) {
        const auto track = [this](std::uint64_t of) {
            return std::floor(static_cast<double>(of) / disk->sectorspertrack);
        };
        begins = std::max(earliest, disk->passed);
        if (track(sector) != track(disk->head))
            begins += disk->seek;
        // sector n passes at n sector times, and each revolution after that
        const double turns =
            begins / disk->revolution - static_cast<double>(sector) / disk->sectorspertrack;
        begins += (std::ceil(turns) - turns) * disk->revolution;
    }
    disk->passed = begins + time;
    disk->head = sector + bytes / disk->bytespersector;
    disk->reading = reading;
}

Transfer TurningDisk::store(std::uint64_t offset, const char *source, std::size_t bytes)
{
    const std::size_t length = disk->bytespersector;
    if (bytes == 0 ||
        !disk->losing.lowest(offset / length, (offset + bytes - 1) / length).has_value())
        return inner->write(offset, source, bytes);
    for (std::size_t at = 0; at < bytes; at += length) {
        if (disk->losing.contains((offset + at) / length))
            continue;
        const Transfer transfer = inner->write(offset + at, source + at, length);
        if (!transfer.status.ok())
            return {transfer.status, at};
    }
    return {Status::success(), bytes};
}

Status TurningDisk::storeoldest()
{
    const Turning::Piece piece = std::move(disk->cache.front());
    disk->cache.pop_front();
    disk->cached -= piece.bytes.size();
    access(piece.offset, piece.bytes.size(), false, disk->emptying);
    return store(piece.offset, piece.bytes.data(), piece.bytes.size()).status;
}

Transfer TurningDisk::doread(std::uint64_t offset, void *buffer, std::size_t bytes)
{
    const Transfer transfer = inner->read(offset, buffer, bytes);
    disk->now += disk->command + static_cast<double>(bytes) / disk->busrate;
    std::size_t covered = 0;
    for (const Turning::Piece &piece : disk->cache) {
        const std::uint64_t first = std::max(offset, piece.offset);
        const std::uint64_t end =
            std::min(offset + transfer.bytes, piece.offset + piece.bytes.size());
        if (first >= end)
            continue;
        std::memcpy(static_cast<char *>(buffer) + (first - offset),
                    piece.bytes.data() + (first - piece.offset), end - first);
        covered += end - first;
    }
    if (covered < bytes) { // what was written twice counts twice: only the clock is wrong then
        access(offset, bytes, true, disk->now);
        disk->now = std::max(disk->now, disk->passed);
        // what the drive reads ahead fills its buffer at most
        disk->passed = std::max(
            disk->passed, disk->now - static_cast<double>(disk->cachebytes) / disk->bytespersector *
                                          disk->revolution / disk->sectorspertrack);
    }
    return transfer;
}

Transfer TurningDisk::dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes)
{
    const char *source = static_cast<const char *>(buffer);
    disk->now += disk->command + static_cast<double>(bytes) / disk->busrate;
    if (disk->cachebytes == 0) {
        access(offset, bytes, false, disk->now);
        disk->now = disk->passed;
        return store(offset, source, bytes);
    }
    disk->cache.push_back({offset, {source, source + bytes}});
    disk->cached += bytes;
    if (disk->cached <= disk->cachebytes / 2)
        disk->emptying = disk->now;
    // the medium takes what it can while the cache fills, and a full cache waits for it
    Status status = Status::success();
    while (status.ok() && disk->cached > disk->cachebytes / 2 &&
           (disk->passed <= disk->now || disk->cached > disk->cachebytes)) {
        disk->now = disk->cached > disk->cachebytes ? std::max(disk->now, disk->passed) : disk->now;
        status = storeoldest();
    }
    return {status, status.ok() ? bytes : 0};
}

Status TurningDisk::request(const char *name, const std::function<Status()> &call)
{
    Status status = Status::success();
    if (std::string_view(name) == "flush") {
        disk->emptying = disk->now;
        while (status.ok() && !disk->cache.empty())
            status = storeoldest();
        disk->now = std::max(disk->now, disk->passed);
    }
    return status.ok() ? call() : status;
}

} // namespace platform

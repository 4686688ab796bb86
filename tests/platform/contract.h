#pragma once

#include "platform/device.h"

#include <gtest/gtest.h>

#include <functional>

/// What every device answers alike, whatever is behind it: a disk of `sectors` sectors, without
/// partitions and not below 1000. `strict`: it refuses parts of sectors, and does not grow.
inline void
keepscontract(const std::function<std::unique_ptr<platform::Device>(platform::Access)> &open,
              std::uint64_t sectors, std::size_t sector, bool strict = true)
{
    using platform::Fault;
    const auto disk = open(platform::Access::readwrite), reader = open(platform::Access::read);
    ASSERT_TRUE(disk);
    ASSERT_TRUE(reader);
    const std::uint64_t size = sectors * sector;
    std::uint64_t bytes = 0;
    std::uint32_t low = 0;
    EXPECT_TRUE(disk->filesize(bytes).ok());
    EXPECT_EQ(bytes, size);
    EXPECT_TRUE(disk->filesizelow(low).ok());
    EXPECT_EQ(low, size);

    // at any alignment of memory: what is moved comes back, and nothing else changes
    std::string out(400 * sector + 1, '\0');
    for (std::size_t i = 0; i < out.size(); i++)
        out[i] = static_cast<char>(i * 7 + i / sector);
    // from where, how much, how much of that there is, and how reading and writing end
    const std::tuple<std::uint64_t, std::size_t, std::size_t, Fault, Fault> rows[] = {
        {50 * sector, 400 * sector, 400 * sector, Fault::none, Fault::none},
        {size - 10 * sector, 20 * sector, 10 * sector, Fault::none, Fault::other},
        {size, 20 * sector, 0, Fault::none, Fault::other},
        {0, sector / 2, 0, Fault::badargument, Fault::badargument},
        {sector / 2, sector, 0, Fault::badargument, Fault::badargument}};
    for (const auto &[offset, wanted, moved, reading, writing] : rows) {
        if (!strict && writing != Fault::none)
            continue;
        SCOPED_TRACE(offset);
        platform::Transfer transfer = disk->write(offset, &out[1], wanted);
        EXPECT_EQ(transfer.status.fault, writing);
        EXPECT_EQ(transfer.bytes, moved);
        EXPECT_TRUE(disk->flush().ok());
        std::string in(wanted + 1, 'x');
        transfer = reader->read(offset, &in[1], wanted);
        EXPECT_EQ(transfer.status.fault, reading);
        EXPECT_EQ(transfer.bytes, moved);
        EXPECT_EQ(in.substr(1, moved), out.substr(1, moved));
        EXPECT_EQ(in[0], 'x');
    }
    std::string in(2 * sector, 'x');
    EXPECT_EQ(disk->read(size - sector, in.data(), in.size()).bytes, sector);
    EXPECT_TRUE(disk->read(size, in.data(), sector).status.ok());
    EXPECT_EQ(reader->write(0, out.data(), sector).status.fault, Fault::denied);
    EXPECT_TRUE(disk->updateproperties().ok()) << "there is no layout to update";
}

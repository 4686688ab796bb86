#include "scan/scanfile.h"

#include "platform/plainfile.h"

#include <QFileInfo>
#include <QSaveFile>

namespace
{

constexpr std::chrono::seconds syncinterval(1);

template <std::size_t size>
bool writewhole(std::FILE *file, const std::array<std::uint8_t, size> &image)
{
    return std::fwrite(image.data(), 1, size, file) == size && std::fflush(file) == 0;
}

} // namespace

void ScanFileWriter::Closing::operator()(std::FILE *stream) const
{
    platform::syncplainfile(stream);
    std::fclose(stream);
}

bool ScanFileWriter::open(const std::string &filename, const char *mode, int wholerecords)
{
    name = filename;
    records = synced = wholerecords;
    synctime = std::chrono::steady_clock::now();
    file.reset(platform::openplainfile(name.c_str(), mode));
    return file != nullptr;
}

bool ScanFileWriter::writeheader(const geom &geometry, std::uint32_t checksum)
{
    return writewhole(file.get(), encodescanheader(geometry, checksum)) &&
           platform::syncplainfile(file.get());
}

bool ScanFileWriter::cut(int wholerecords)
{
    const std::uint64_t bytes = geomsize + segsize * static_cast<std::uint64_t>(wholerecords);
    return platform::cutplainfile(name.c_str(), bytes);
}

bool ScanFileWriter::append(const SEG &seg, bool last)
{
    int kept = records;
    if (std::fseek(file.get(), 0, SEEK_END) == 0 && writewhole(file.get(), encodeseg(seg))) {
        ++records;
        const auto now = std::chrono::steady_clock::now();
        if (!last && now - synctime < syncinterval)
            return true;
        kept = synced;
        if (platform::syncplainfile(file.get())) {
            synced = records;
            synctime = std::chrono::steady_clock::now();
            return true;
        }
    }
    std::fclose(file.release());
    cut(kept);
    return false;
}

bool replacescanfile(const std::string &name, const geom &geometry, const std::vector<SEG> &segs,
                     std::uint32_t checksum, QString *why)
{
    const QString filename = QString::fromStdString(name);
    // QSaveFile would replace the target of a link.
    const QFileInfo present(filename);
    if (present.isSymLink() || (present.exists() && !present.isFile())) {
        if (why != nullptr)
            *why = "not a plain file";
        return false;
    }
    QByteArray image;
    const auto add = [&image](const auto &part) {
        image.append(reinterpret_cast<const char *>(part.data()), std::ssize(part));
    };
    add(encodescanheader(geometry, checksum));
    for (const SEG &seg : segs)
        add(encodeseg(seg));
    QSaveFile file(filename); // its commit overlooks what only the flush finds, such as a full disk
    if (file.open(QIODevice::WriteOnly) && file.write(image) == image.size() && file.flush() &&
        file.commit())
        return true;
    if (why != nullptr)
        *why = file.errorString();
    return false;
}

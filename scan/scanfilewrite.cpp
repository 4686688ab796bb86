#include "scan/scanfile.h"

#include <QFileInfo>
#include <QSaveFile>

namespace
{

template <std::size_t size> bool write(QSaveFile &file, const std::array<std::uint8_t, size> &image)
{
    return file.write(reinterpret_cast<const char *>(image.data()), image.size()) ==
           static_cast<qint64>(image.size());
}

} // namespace

bool replacescanfile(const std::string &name, const geom &geometry, const std::vector<SEG> &segs)
{
    const QString filename = QString::fromStdString(name);
    // The replacement would go to where a link leads.
    const QFileInfo present(filename);
    if (present.isSymLink() || (present.exists() && !present.isFile()))
        return false;
    QSaveFile file(filename);
    bool written = file.open(QIODevice::WriteOnly) && write(file, encodegeom(geometry));
    for (std::size_t i = 0; written && i < segs.size(); ++i)
        written = write(file, encodeseg(segs[i]));
    return written && file.commit();
}

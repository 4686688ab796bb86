#pragma once

#include "views/surfacekind.h"
#include "views/surfacetext.h"

#include <QWidget>

/// The legend of the surface map: a square, a caption and a count for each kind of cell, in as many
/// lines as the width needs.
class SurfaceLegend : public QWidget
{
    Q_OBJECT

public:
    explicit SurfaceLegend(QWidget *parent);

    /// Counts the cells anew; true if other kinds occur now.
    bool count(const SurfaceData &data);
    /// Whether it shows kinds that don't occur.
    void setallentries(bool all);
    /// The height for a width, with all entries or those that occur.
    [[nodiscard]] int heightfor(int width, bool all) const;
    /// The counts, as a screen reader says them.
    [[nodiscard]] QString words() const;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    struct Entry {
        std::size_t kind;
        QPoint place; ///< top left
    };
    [[nodiscard]] std::vector<Entry> entries(int width, bool all) const;
    [[nodiscard]] QString caption(std::size_t kind) const;

    std::array<int, surfacekinds.size()> counts = {};
    int most = 0;     ///< cells, for the room of the numbers
    bool full = true; ///< shows kinds that don't occur
};

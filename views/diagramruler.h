#pragma once

#include <QWidget>

class GraphicsView;

/// The scale below the diagram, in GB. It stands directly under the view and follows its zoom.
class DiagramRuler : public QWidget
{
    Q_OBJECT

public:
    explicit DiagramRuler(GraphicsView *diagram);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    GraphicsView *view;
};

/// The step between two numbers of a scale: the least of 1, 2 and 5 times a power of ten from
/// `least` on.
double scalestep(double least);

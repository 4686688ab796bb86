#pragma once

#include <QGraphicsScene>

/// The scene of the disk diagram.
class GraphicsScene : public QGraphicsScene
{
    Q_OBJECT

public:
    using QGraphicsScene::QGraphicsScene;
};

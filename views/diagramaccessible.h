#pragma once

/// Makes the blocks of the diagram known to assistive technology: every `GraphicsView` becomes a
/// list with one entry for each block in disk order. Graphics items are invisible to it otherwise.
void installdiagramaccessibility();

#pragma once

class QAbstractButton;

/// Keeps the box or ring of a check box or radio button visible on a dark page. Qt's own style
/// draws it in a shade darker than the window, which a dark page swallows. Does nothing on a light
/// one.
void keepindicatorvisible(QAbstractButton *button);

#pragma once

#include <QDialog>

class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QVBoxLayout;

/// Shows a guessed geometry and collects corrections. It computes nothing and refuses nothing; the
/// caller reads the edit fields back. The field for cylinders is shown but never read.
class GeomDlg : public QDialog
{
    Q_OBJECT

public:
    GeomDlg(int bytespersector, int sectorspertrack, int heads, unsigned long long cylinders,
            QWidget *parent = nullptr);

    QLabel *infolabel;
    QLabel *byteslabel;
    QLineEdit *bytesedit;
    QLabel *sectorslabel;
    QLineEdit *sectorsedit;
    QLabel *headslabel;
    QLineEdit *headsedit;
    QLabel *cylinderslabel;
    QLineEdit *cylindersedit;
    QVBoxLayout *dialoglayout;
    QDialogButtonBox *buttonbox;
};

#pragma once

#include <QDialog>

#include <functional>

class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QVBoxLayout;

/// Shows a guessed geometry and collects corrections. It computes nothing; the caller's `check`
/// refuses. The field for cylinders is shown but never read.
class GeomDlg : public QDialog
{
    Q_OBJECT

public:
    GeomDlg(int bytespersector, int sectorspertrack, int heads, unsigned long long cylinders,
            QWidget *parent = nullptr);

    /// Called on Ok with the three numbers: a refusal, which is shown and keeps the dialog open, or
    /// nothing. A field that holds no number gives 0.
    std::function<QString(int bytespersector, int sectorspertrack, int heads)> check;
    void accept() override;

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

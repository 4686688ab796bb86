#include "views/geomdlg.h"

#include "views/plainbox.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

GeomDlg::GeomDlg(int bytespersector, int sectorspertrack, int heads, unsigned long long cylinders,
                 QWidget *parent)
    : QDialog(parent)
{
    setWindowTitle("Disk geometry");
    infolabel = new QLabel("Can not find the exact geometry of the disk. \nThe guessed values are "
                           "provided. You can change them if not correct.");
    dialoglayout = new QVBoxLayout(this);
    dialoglayout->addWidget(infolabel);
    const auto addfield = [this](const char *text, unsigned long long value, QLabel *&label,
                                 QLineEdit *&edit) {
        label = new QLabel(text);
        edit = new QLineEdit(QString::number(value));
        label->setBuddy(edit);
        dialoglayout->addWidget(label);
        dialoglayout->addWidget(edit);
    };
    addfield("byters per sector:", static_cast<unsigned>(bytespersector), byteslabel, bytesedit);
    addfield("sectors per track:", static_cast<unsigned>(sectorspertrack), sectorslabel,
             sectorsedit);
    addfield("heads number:", static_cast<unsigned>(heads), headslabel, headsedit);
    addfield("cylinders number:", cylinders, cylinderslabel, cylindersedit);

    buttonbox =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, Qt::Horizontal);
    connect(buttonbox, &QDialogButtonBox::accepted, this, &GeomDlg::accept);
    connect(buttonbox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    dialoglayout->addWidget(buttonbox);
}

void GeomDlg::accept()
{
    const QString refusal = check ? check(bytesedit->text().toInt(), sectorsedit->text().toInt(),
                                          headsedit->text().toInt())
                                  : QString();
    if (refusal.isEmpty())
        QDialog::accept();
    else
        plainbox(this, QMessageBox::Warning, "error", refusal);
}

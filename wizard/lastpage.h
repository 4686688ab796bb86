#pragma once

#include <QWizardPage>

class QLabel;
class QTextEdit;
class QVBoxLayout;

/// The last page: what the commit created.
class LastPage : public QWizardPage
{
    Q_OBJECT

public:
    explicit LastPage(QWidget *parent = nullptr);

    void initializePage() override;
    void cleanupPage() override;

    QLabel *closinglabel;
    QTextEdit *reportedit;
    QLabel *headlabel;
    QVBoxLayout *pagelayout;

private slots:
    /// Hides Cancel once the wizard has turned to page `id`, if that is this one.
    void hidecancel(int id);
};

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

    /// The commands that would make file systems on the partitions, a line each; nothing runs them.
    [[nodiscard]] QString formatcommands() const;

    QLabel *closinglabel;
    QTextEdit *reportedit;
    QLabel *headlabel;
    QVBoxLayout *pagelayout;

private slots:
    /// The report's context menu at `position`.
    void showmenu(const QPoint &position);
    /// Hides Cancel once the wizard has turned to page `id`, if that is this one.
    void hidecancel(int id);
};

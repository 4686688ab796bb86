#include "tests/support/wizardbench.h"

std::shared_ptr<platform::RecordedDisk>
WizardBench::adddisk(std::uint64_t cylinders, std::uint32_t heads, std::uint32_t sectors)
{
    const std::string number = std::to_string(backend.disks.size());
    auto disk = platform::recordeddisk("sim" + number + "#d&disk" + number + "#serial#class",
                                       platform::DriveGeometry{cylinders, heads, sectors, 512});
    backend.disks.push_back(disk);
    return disk;
}

void WizardBench::open(int row)
{
    wizard = std::make_unique<DpWizard>();
    wizard->show();
    if (row >= 0)
        QTest::mouseClick(selectpage()->diskgroup->button(row), Qt::LeftButton);
}

void WizardBench::openscanpage(int row)
{
    open(row);
    click(next);
}

int WizardBench::rowof(const std::string &node)
{
    const std::vector<DISKINFO> &disks = selectpage()->alldisks;
    const auto disk = std::ranges::find_if(disks, [&node](const DISKINFO &one) {
        return std::string(one.devicepath).starts_with(node + "#");
    });
    const auto row = static_cast<int>(disk - disks.begin());
    return disk != disks.end() && selectpage()->diskgroup->button(row)->isEnabled() ? row : -1;
}

bool WizardBench::offered(QWizard::WizardButton which) const
{
    return wizard->button(which)->isVisible() && wizard->button(which)->isEnabled();
}

bool WizardBench::clickone(QWizard::WizardButton which)
{
    if (!offered(which))
        return false;
    if (!bykeyboard)
        QTest::mouseClick(wizard->button(which), Qt::LeftButton);
    else if (!reach(wizard->button(which)))
        return false;
    else
        QTest::keyClick(wizard->button(which), which == next ? Qt::Key_Return : Qt::Key_Space);
    return true;
}

bool WizardBench::clicks(const QString &letters)
{
    const auto one = [this](QChar letter) {
        if (letter == 'a' && wait([this] { return scanpage()->curseg >= 3; }))
            abortscan();
        if (letter == 'a' || letter == 'w')
            return waitrun();
        return clickone(letter == 'b' ? back : letter == 'n' ? next : letter == 's' ? skip : prev);
    };
    return std::ranges::all_of(letters, one);
}

bool WizardBench::reach(QWidget *control) const
{
    wizard->activateWindow();
    static_cast<void>(QTest::qWaitForWindowActive(wizard.get()));
    for (int i = 0; i < 30 && !control->hasFocus(); ++i) {
        QWidget *focus = QApplication::focusWidget();
        QTest::keyClick(focus ? focus : wizard.get(), Qt::Key_Tab);
    }
    return control->hasFocus();
}

QStringList WizardBench::unnamed() const
{
    QStringList found;
    for (QWidget *control : wizard->findChildren<QWidget *>()) {
        QAccessibleInterface *spoken = QAccessible::queryAccessibleInterface(control);
        if (control->isVisible() && (control->focusPolicy() & Qt::TabFocus) != 0 &&
            !control->focusProxy() && spoken && spoken->text(QAccessible::Name).isEmpty())
            found.append(control->metaObject()->className());
    }
    return found;
}

bool WizardBench::wait(const std::function<bool()> &done, int milliseconds)
{
    const QDeadlineTimer deadline(milliseconds);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return done();
}

bool WizardBench::waitrun(int milliseconds)
{
    const QTimer *const &timer = scanpage()->scantimer;
    return wait([&timer] { return !timer || !timer->isActive(); }, milliseconds);
}

QList<QAction *> WizardBench::offers()
{
    QAbstractButton *row = selectpage()->diskgroup->checkedButton();
    qDeleteAll(row->findChildren<QMenu *>());
    emit row->customContextMenuRequested({});
    QList<QAction *> actions = row->findChild<QMenu *>()->actions();
    actions.removeIf([](const QAction *one) { return !one->isEnabled(); });
    return actions;
}

QString WizardBench::restore(int offer)
{
    offers().at(offer)->trigger();
    QCoreApplication::processEvents();
    return dialogs.messages().last();
}

QByteArray filecontent(const char *name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

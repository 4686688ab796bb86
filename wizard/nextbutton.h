#pragma once

class DpWizard;
class QWizardPage;

/// Who gets the Next button's click. There is exactly one receiver at any time; each function
/// disconnects first and connects second, and a broken rhythm is a bug that stops the program in
/// debug builds.

/// The wizard that a page stands in.
DpWizard *dpwizard(const QWizardPage *page);

namespace nextbutton
{
/// `QWizard::next` -> `DiskScanPage::beginscan`.
void nexttoscan(DpWizard *wizard);
/// `DiskScanPage::beginscan` -> `QWizard::next`.
void scantonext(DpWizard *wizard);
/// `QWizard::next` -> `DiskPartition::writetodisk`.
void nexttowrite(DpWizard *wizard);
/// `DiskPartition::writetodisk` -> `QWizard::next`.
void writetonext(DpWizard *wizard);
/// `DiskPartition::writetodisk` -> `DiskScanPage::beginscan`.
void writetoscan(DpWizard *wizard);
} // namespace nextbutton

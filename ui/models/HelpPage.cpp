#include "ui/models/HelpPage.h"

#include <QCoreApplication>
#include <QDir>

QUrl HelpPage::kestrelFaq(const QString& programFolder)
{
    // The build names the page's place relative to the installation prefix,
    // the same place it installs the page to.
    const QString prefix = QDir(programFolder).absoluteFilePath(QStringLiteral(".."));
    return QUrl::fromLocalFile(QDir::cleanPath(prefix + QLatin1Char('/') + QStringLiteral(ORVANE_HELP_PAGE)));
}

QUrl HelpPage::kestrelFaq()
{
    return kestrelFaq(QCoreApplication::applicationDirPath());
}

#include "ui/models/VersionVerifier.h"

#include "model/identity/Orvane.h"

#include <exception>

VersionVerifier::VersionVerifier(QObject* parent)
    : QObject(parent)
{
}

void VersionVerifier::setCurrentVersion(const std::wstring& version)
{
    currentVersion_ = version;
    emit currentlyLastVersionChanged();
}

void VersionVerifier::setPtrOrvane(Orvane* ptrOrvane)
{
    orvane_ = ptrOrvane;
}

QString VersionVerifier::recommendedVersion() const
{
    if (!orvane_)
        return {};
    try {
        return QString::fromStdWString(orvane_->availableVersion().versionString);
    } catch (const std::exception&) {
        return {};  // no installation for the configured service
    }
}

#include "ui/models/VersionVerifier.h"

VersionVerifier::VersionVerifier(QObject* parent)
    : QObject(parent)
{
}

void VersionVerifier::setCurrentVersion(const std::wstring& version)
{
    currentVersion_ = version;
    emit currentlyLastVersionChanged();
}

#pragma once

#include <QObject>
#include <QString>

namespace orvane::model { class Orvane; }
using orvane::model::Orvane;

// The program's own version, and the version the service recommends, for the
// About box and the new-version notice.
class VersionVerifier : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool currentlyLastVersion READ currentlyLastVersion NOTIFY currentlyLastVersionChanged)
    Q_PROPERTY(QString recommendedVersion READ recommendedVersion NOTIFY currentlyLastVersionChanged)
    Q_PROPERTY(QString currentVersion READ currentVersion NOTIFY currentlyLastVersionChanged)

public:
    explicit VersionVerifier(QObject* parent = nullptr);

    // The notice of a newer version is not offered: the program always counts
    // as the latest.
    bool currentlyLastVersion() const { return true; }
    // Empty until an installation exists and its catalogue names a version.
    QString recommendedVersion() const;
    QString currentVersion() const { return QString::fromStdWString(currentVersion_); }

    void setCurrentVersion(const std::wstring& version);

public slots:
    void setPtrOrvane(Orvane* ptrOrvane);

signals:
    void currentlyLastVersionChanged();

private:
    std::wstring currentVersion_;
    Orvane* orvane_ = nullptr;
};

#pragma once

#include "config/DesktopInfo.h"

namespace orvane::model { class Orvane; }
using orvane::model::Orvane;

#include <QObject>
#include <QString>

// Backs the first-run form: the names this computer will be registered under,
// and whether an installation exists, which decides the main screen shown.
class InstallationModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool hasAnInstallation READ getHasAnInstallation NOTIFY installationChanged)
    Q_PROPERTY(QString installationName READ getInstallationName WRITE setInstallationName NOTIFY installationChanged)
    Q_PROPERTY(QString userName READ getUserName WRITE setUserName NOTIFY installationChanged)
    Q_PROPERTY(QString domainName READ getDomainName WRITE setDomainName NOTIFY installationChanged)
    Q_PROPERTY(QString errorServer READ getErrorServer WRITE setErrorServer NOTIFY errorChanged)

public:
    explicit InstallationModel(QObject* parent = nullptr);

public slots:
    // Read afresh on every call: the identity file may have been written by
    // another process (a switch run) since the last look. An identity file
    // that cannot be read counts as no installation here; the start has
    // already refused to run on one.
    bool getHasAnInstallation() const;
    QString getInstallationName() const;
    void setInstallationName(const QString& value);
    QString getUserName() const;
    void setUserName(const QString& value);
    QString getDomainName() const;
    void setDomainName(const QString& value);
    QString getErrorServer() const;
    void setErrorServer(const QString& value);

    void reloadConfig();
    void installationNameLeftBlank();
    void userNameLeftBlank();
    void domainNameLeftBlank();
    // Keeps the aggregate every model shares; null until an installation exists.
    void setPtrOrvane(Orvane* ptrOrvane);

signals:
    void installationChanged();
    void setupNewConfigurationFinished();
    void errorChanged();
    // The one path by which the aggregate reaches the models.
    void ptrOrvaneChanged(Orvane* ptrOrvane);

private:
    void fillDefault(std::wstring& field, const wchar_t* fallback);

    orvane::model::DesktopInfo desktopInfo_;
    QString errorServer_;
    Orvane* orvane_ = nullptr;
};

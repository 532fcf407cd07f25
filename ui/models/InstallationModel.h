#pragma once

#include "config/DesktopInfo.h"

namespace orvane::model { class Orvane; }
using orvane::model::Orvane;

#include "ui/models/WorkerShutdown.h"

#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <vector>

class HierarchyListModel;

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
    // `certificatesTable` is the certificates table model: its
    // offLineServer(bool) signal raises the offline banner when the service
    // cannot be reached. Both models must outlive this one; either may be
    // null where a test needs neither.
    explicit InstallationModel(QObject* certificatesTable = nullptr, HierarchyListModel* hierarchyList = nullptr,
                               QObject* parent = nullptr);
    // Waits for a registration still under way: the aggregates it makes
    // belong to this model.
    ~InstallationModel() override;

    // How openFaqKestrel shows a page: the program gives the desktop's way
    // of opening a URL (QDesktopServices::openUrl), which this layer cannot
    // reach.
    using UrlOpener = std::function<bool(const QUrl&)>;
    void setUrlOpener(UrlOpener opener) { urlOpener_ = std::move(opener); }

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

    // Registers this computer with the Kestrel service under the names of
    // the form, a blank one replaced by its default; ends with
    // ptrOrvaneChanged and setupNewConfigurationFinished, also on failure.
    void setupNewConfiguration();
    void reloadConfig();
    // Opens the help page that ships with the program.
    void openFaqKestrel();
    void installationNameLeftBlank();
    void userNameLeftBlank();
    void domainNameLeftBlank();
    // After a registration, fills the hierarchy list of the new
    // installation; nothing when the registration failed.
    void afterSetupConfiguration();
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

    QObject* certificatesTable_;
    HierarchyListModel* hierarchyList_;
    orvane::model::DesktopInfo desktopInfo_;
    QString errorServer_;
    Orvane* orvane_ = nullptr;
    // The aggregates the registrations made; every model points into them
    // until the end of the program.
    std::vector<std::shared_ptr<Orvane>> created_;
    UrlOpener urlOpener_;
    WorkerShutdown shutdown_;
};

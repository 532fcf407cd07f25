#pragma once

#include "ui/models/CertificateRow.h"

#include <QAbstractTableModel>
#include <QString>

#include <cstdint>
#include <vector>

namespace orvane::model { class KeyGroup; class Orvane; }
using orvane::model::Orvane;

class KeyGroupToBeUnregisteredModel;
class VerificationConnectionServer;

// The main list: one row per certificate known to the identity, grouped by
// key group (a paired phone or a cloud account, in the identity's order).
// It refreshes the list in the background and answers, by the group's
// display name, what a group is and how it authenticates.
//
// The rows are copies (CertificateRow). Operations that change the identity
// from the GUI thread (rename, mode, save) first wait for the background
// task, so they never meet a worker inside the identity.
class CertificatesTableModel : public QAbstractTableModel {
    Q_OBJECT
    Q_PROPERTY(bool providerProblemFound READ providerProblemFound WRITE setProviderProblemFound NOTIFY providerChanged)
    Q_PROPERTY(QString providerErrorMessage READ providerErrorMessage WRITE setProviderErrorMessage NOTIFY providerChanged)

public:
    enum Role { CertificateNameRole = Qt::UserRole + 1, ValidUntilRole, KeyGroupRole };

    // `registration` is met only through its devicesRegistered() signal,
    // which asks for a refresh; null leaves that unconnected.
    CertificatesTableModel(QObject* registration, KeyGroupToBeUnregisteredModel* keyGroupModel,
                           VerificationConnectionServer* server, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    bool providerProblemFound() const { return providerProblemFound_; }
    void setProviderProblemFound(bool value);
    QString providerErrorMessage() const { return providerErrorMessage_; }
    void setProviderErrorMessage(const QString& value);

    void setPtrOrvane(Orvane* ptrOrvane);

    // The GUI-thread half of a refresh, which its worker posts here: the new
    // rows are set aside for the next reset of updateCertificatesView, then
    // offLineServer and certificatesReloaded (which runs that reset) go out.
    void certificatesListed(std::vector<CertificateRow> rows, bool offline, std::uint64_t refresh);

signals:
    void certificatesReloaded();
    void reloadingCertificatesFinished();
    void offLineServer(bool offline);
    void providerChanged();
    void authModeChanged();

public slots:
    // Throws BaseException "Não encontrado" for a name the identity does not
    // hold (a list that changed under the click).
    void prepareToUnregisterKeyGroup(QString keyGroupName);
    // Nothing without an installation for the configured service and an
    // identity; otherwise lists both services in the background.
    void updateCertificates();
    void updateCertificatesView();
    // Renames a phone on this computer; a name that a phone already has is
    // refused and nothing changes. The model is reset either way. Throws
    // like prepareToUnregisterKeyGroup for an unknown old name.
    void replaceLocalKeyGroupName(QString oldKeyGroupName, QString newKeyGroupName);
    // "CLOUD", "SMARTPHONE", or "" for a name not in the list.
    QString groupTypeFor(QString keyGroupName);
    // "kestrel" for a phone, "local" or "push" for a cloud account, "" for a
    // name not in the list.
    QString getAuthenticationMode(QString keyGroupName);
    // "hiddenSubtitles" where there is no choice, else "selected" or
    // "unselected" for the button named `buttonType`.
    QString getAuthenticationModeButtonState(QString keyGroupName, QString buttonType);
    // Switches a cloud account to "local" or "push" and saves at once; any
    // other request changes nothing. authModeChanged goes out in every case.
    void changeAuthenticationMode(QString keyGroupName, QString authMode);
    bool hasCertificates();
    // There is no check of the provider: this closes the status box.
    void verifyProviderStatus();
    void saveToConfigFile();

private:
    const CertificateRow* rowOfGroup(const QString& keyGroupName) const;
    // The live group of that name in the identity; only once settle()d.
    orvane::model::KeyGroup* keyGroupFor(const QString& keyGroupName);
    // Waits for the background task; from then on the GUI thread has the
    // identity to itself, and the rows are rebuilt from it after a change.
    void settle();
    // Rebuilds the rows from the identity after a change made here.
    void rowsChangedHere(bool insideReset);

    KeyGroupToBeUnregisteredModel* keyGroupModel_;
    Orvane* orvane_ = nullptr;
    std::vector<CertificateRow> rows_;
    std::vector<CertificateRow> listed_;
    bool hasListed_ = false;
    // Refreshes are numbered as they start. A change made here after a
    // refresh started is newer than that refresh's rows, which are then
    // dropped: the change waited for the refresh and rebuilt the rows from
    // an identity that already held its result.
    std::uint64_t refreshesStarted_ = 0;
    std::uint64_t staleUpTo_ = 0;
    bool providerProblemFound_ = false;
    QString providerErrorMessage_;
};

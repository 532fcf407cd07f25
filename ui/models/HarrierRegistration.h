#pragma once

#include <QObject>
#include <QString>

namespace orvane::model { class Orvane; }
using orvane::model::Orvane;

class CertificatesTableModel;
class KeyGroupToBeUnregisteredModel;
class VerificationConnectionServer;

// The login form of the cloud key service: e-mail, an optional organisation
// subdomain and a password. A login registers this computer with the account,
// whose certificates then join the list.
class HarrierRegistration : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString email READ email WRITE setEmail NOTIFY formLoginChanged)
    Q_PROPERTY(QString organizationSubdomain READ organizationSubdomain WRITE setOrganizationSubdomain NOTIFY formLoginChanged)
    Q_PROPERTY(QString password READ password WRITE setPassword NOTIFY formLoginChanged)
    Q_PROPERTY(bool actionActivated READ isActionActivated NOTIFY formLoginChanged)
    Q_PROPERTY(QString errorMessage READ errorMessage WRITE setErrorMessage NOTIFY errorOccurred)
    Q_PROPERTY(bool hasError READ hasError NOTIFY errorOccurred)

public:
    HarrierRegistration(VerificationConnectionServer* server, CertificatesTableModel* certificates,
                        KeyGroupToBeUnregisteredModel* keyGroupModel, QObject* parent = nullptr);

    QString email() const { return email_; }
    void setEmail(const QString& value);
    QString organizationSubdomain() const { return organizationSubdomain_; }
    void setOrganizationSubdomain(const QString& value);
    // Held in clear only until cleanModel().
    QString password() const { return password_; }
    void setPassword(const QString& value);
    QString errorMessage() const { return errorMessage_; }
    void setErrorMessage(const QString& value);

    void setPtrOrvane(Orvane* ptrOrvane);

signals:
    void offlineServer(bool offline);
    void formLoginChanged();
    void errorOccurred();
    void registrationFinished();

public slots:
    // E-mail and password given; the subdomain may stay empty.
    bool isActionActivated();
    // Logs in and registers in the background: registrationFinished on
    // success, errorOccurred with errorMessage otherwise.
    void registerUserAtHarrier();
    bool hasError();
    void cleanModel();

private:
    void setField(QString& field, const QString& value);

    QString email_;
    QString organizationSubdomain_;
    QString password_;
    QString errorMessage_;
    Orvane* orvane_ = nullptr;
};

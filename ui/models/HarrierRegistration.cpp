#include "ui/models/HarrierRegistration.h"

#include "ui/models/BackgroundTask.h"
#include "ui/models/CertificatesTableModel.h"
#include "ui/models/KeyGroupToBeUnregisteredModel.h"
#include "ui/models/ModelUpdate.h"
#include "ui/models/VerificationConnectionServer.h"
#include "ui/models/WorkerReport.h"

#include "model/identity/Orvane.h"

namespace {

// Not the Kestrel wording: this form has always said "encontrado".
const char* const kServerNotFound = "Servidor n\xC3\xA3o encontrado. Verifique se h\xC3\xA1 conex\xC3\xA3o com a internet.\n";

} // namespace

HarrierRegistration::HarrierRegistration(VerificationConnectionServer* server, CertificatesTableModel* certificates,
                                         KeyGroupToBeUnregisteredModel* keyGroupModel, QObject* parent)
    : QObject(parent)
{
    connect(this, &HarrierRegistration::offlineServer, server, &VerificationConnectionServer::setOffLine);
    connect(this, &HarrierRegistration::registrationFinished, certificates, &CertificatesTableModel::updateCertificates);
    // A removed group clears a half-filled form, and the page that waits for
    // a login is released too: both in this order.
    connect(keyGroupModel, &KeyGroupToBeUnregisteredModel::keyGroupUnregistered, this, &HarrierRegistration::cleanModel);
    connect(keyGroupModel, &KeyGroupToBeUnregisteredModel::keyGroupUnregistered, this,
            &HarrierRegistration::registrationFinished);
}

void HarrierRegistration::setField(QString& field, const QString& value)
{
    if (field == value)
        return;
    field = value;
    emit formLoginChanged();
}

void HarrierRegistration::setEmail(const QString& value) { setField(email_, value); }
void HarrierRegistration::setOrganizationSubdomain(const QString& value) { setField(organizationSubdomain_, value); }
void HarrierRegistration::setPassword(const QString& value) { setField(password_, value); }

void HarrierRegistration::setErrorMessage(const QString& value)
{
    if (errorMessage_ == value)
        return;
    errorMessage_ = value;
    emit errorOccurred();
}

void HarrierRegistration::setPtrOrvane(Orvane* ptrOrvane)
{
    orvane_ = ptrOrvane;
}

bool HarrierRegistration::isActionActivated()
{
    return !email_.isEmpty() && !password_.isEmpty();
}

bool HarrierRegistration::hasError()
{
    return !errorMessage_.isEmpty();
}

void HarrierRegistration::cleanModel()
{
    email_.clear();
    organizationSubdomain_.clear();
    password_.clear();
    errorMessage_.clear();
    emit formLoginChanged();
}

void HarrierRegistration::registerUserAtHarrier()
{
    if (!orvane_)
        return;
    Orvane* orvane = orvane_;
    // Taken here rather than on the worker: the page has moved on and the
    // form is idle, so these are the values the worker would read.
    const orvane::model::UserCredentials credentials{email_.toStdWString(), organizationSubdomain_.toStdWString(),
                                                     password_.toStdWString()};
    // As for every worker of the identity: the earlier task ends first.
    BackgroundTask::waitForLast();
    BackgroundTask::start([this, orvane, credentials] {
        const WorkerReport report(
            [this](bool offline) { ModelUpdate::post(this, [this, offline] { emit offlineServer(offline); }); },
            // The text crosses as plain bytes: a QString shared between the
            // two threads would be released by either, unseen.
            [this](const QString& text) {
                ModelUpdate::post(this, [this, utf8 = text.toStdString()] {
                    errorMessage_ = QString::fromStdString(utf8);
                    emit errorOccurred();
                });
            },
            [this] { ModelUpdate::post(this, [this] { emit registrationFinished(); }); });
        report.runCatching([&] {
            const orvane::model::OperationResult result = orvane->addHarrierAccount(credentials);
            report.serviceCalled(result.status);
            // Unreached, the service's own text is not shown.
            if (result.status == 1)
                report.failed(kServerNotFound);
            else if (result.message.empty())
                report.finished();
            else
                report.failed(result.message);
        });
    });
}

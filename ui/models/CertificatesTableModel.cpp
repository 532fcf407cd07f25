#include "ui/models/CertificatesTableModel.h"

#include "ui/models/BackgroundTask.h"
#include "ui/models/KeyGroupToBeUnregisteredModel.h"
#include "ui/models/ModelUpdate.h"
#include "ui/models/VerificationConnectionServer.h"

#include "model/identity/BaseException.h"
#include "model/identity/Orvane.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace {

const char* const kNotFound = "N\xC3\xA3o encontrado";

bool installationExists()
{
    try {
        return Orvane::hasInstallation();
    } catch (const std::exception&) {
        return false;  // an unreadable identity lists nothing
    }
}

} // namespace

CertificatesTableModel::CertificatesTableModel(QObject* registration, KeyGroupToBeUnregisteredModel* keyGroupModel,
                                               VerificationConnectionServer* server, QObject* parent)
    : QAbstractTableModel(parent)
    , keyGroupModel_(keyGroupModel)
{
    connect(this, &CertificatesTableModel::certificatesReloaded, this, &CertificatesTableModel::updateCertificatesView);
    connect(keyGroupModel, &KeyGroupToBeUnregisteredModel::keyGroupUnregistered, this,
            &CertificatesTableModel::updateCertificates);
    if (registration)
        connect(registration, SIGNAL(devicesRegistered()), this, SLOT(updateCertificates()));
    connect(this, &CertificatesTableModel::offLineServer, server, &VerificationConnectionServer::setOffLine);
}

int CertificatesTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int CertificatesTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 3;
}

QVariant CertificatesTableModel::data(const QModelIndex& index, int role) const
{
    if (index.row() < 0 || static_cast<std::size_t>(index.row()) >= rows_.size())
        return {};
    const CertificateRow& row = rows_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case CertificateNameRole:
        return row.certificateName;
    case ValidUntilRole:
        return row.validUntil;
    case KeyGroupRole:
        return row.keyGroup;
    default:
        return {};
    }
}

QHash<int, QByteArray> CertificatesTableModel::roleNames() const
{
    return {{CertificateNameRole, "certificateName"}, {ValidUntilRole, "validUntil"}, {KeyGroupRole, "keyGroup"}};
}

void CertificatesTableModel::setProviderProblemFound(bool value)
{
    if (providerProblemFound_ == value)
        return;
    providerProblemFound_ = value;
    emit providerChanged();
}

void CertificatesTableModel::setProviderErrorMessage(const QString& value)
{
    if (providerErrorMessage_ == value)
        return;
    providerErrorMessage_ = value;
    emit providerChanged();
}

void CertificatesTableModel::setPtrOrvane(Orvane* ptrOrvane)
{
    orvane_ = ptrOrvane;
}

void CertificatesTableModel::prepareToUnregisterKeyGroup(QString keyGroupName)
{
    settle();
    keyGroupModel_->setKeyGroup(keyGroupFor(keyGroupName));
}

void CertificatesTableModel::updateCertificates()
{
    if (!orvane_ || !installationExists())
        return;
    Orvane* orvane = orvane_;
    const std::uint64_t refresh = ++refreshesStarted_;
    // The earlier task ends before this one starts, not while it runs: two
    // workers inside the identity at once would race on it. The wait is the
    // one that replacing the task would make anyway.
    settle();
    // Nothing is caught: a refresh that throws ends without a word, and the
    // screen keeps offering to reload.
    BackgroundTask::start([this, orvane, refresh] {
        const orvane::model::OperationResult result = orvane->refreshCertificates();
        std::vector<CertificateRow> rows = CertificateRow::of(orvane->certificates());
        const bool offline = result.status != 0;
        ModelUpdate::post(this, [this, rows = std::move(rows), offline, refresh]() mutable {
            certificatesListed(std::move(rows), offline, refresh);
        });
    });
}

void CertificatesTableModel::certificatesListed(std::vector<CertificateRow> rows, bool offline, std::uint64_t refresh)
{
    if (refresh > staleUpTo_) {
        listed_ = std::move(rows);
        hasListed_ = true;
    }
    emit offLineServer(offline);
    emit certificatesReloaded();
}

void CertificatesTableModel::updateCertificatesView()
{
    beginResetModel();
    if (hasListed_) {
        rows_.swap(listed_);
        listed_.clear();
        hasListed_ = false;
    }
    endResetModel();
    emit reloadingCertificatesFinished();
}

void CertificatesTableModel::replaceLocalKeyGroupName(QString oldKeyGroupName, QString newKeyGroupName)
{
    if (oldKeyGroupName.isEmpty())
        return;
    settle();
    beginResetModel();
    // The reset ends however the rename ends, so the view is never left
    // inside it.
    struct EndReset {
        CertificatesTableModel* model;
        ~EndReset() { model->endResetModel(); }
    } endReset{this};
    orvane::model::KeyGroup* group = keyGroupFor(oldKeyGroupName);
    orvane_->renameDevice(group, newKeyGroupName.toStdWString());
    rowsChangedHere(true);
}

QString CertificatesTableModel::groupTypeFor(QString keyGroupName)
{
    const CertificateRow* row = rowOfGroup(keyGroupName);
    return row ? CertificateRow::typeName(row->groupType) : QString();
}

QString CertificatesTableModel::getAuthenticationMode(QString keyGroupName)
{
    const CertificateRow* row = rowOfGroup(keyGroupName);
    return row ? row->authenticationMode : QString();
}

QString CertificatesTableModel::getAuthenticationModeButtonState(QString keyGroupName, QString buttonType)
{
    const QString mode = getAuthenticationMode(keyGroupName);
    if (mode.isEmpty() || mode == QLatin1String("kestrel"))
        return QStringLiteral("hiddenSubtitles");
    return mode == buttonType ? QStringLiteral("selected") : QStringLiteral("unselected");
}

void CertificatesTableModel::changeAuthenticationMode(QString keyGroupName, QString authMode)
{
    settle();
    orvane::model::KeyGroup* group = nullptr;
    try {
        group = keyGroupFor(keyGroupName);
    } catch (const orvane::model::BaseException&) {
        emit authModeChanged();
        return;
    }
    const QString current = QString::fromStdWString(group->authenticationMode());
    bool set = false;
    for (const char* mode : {"local", "push"}) {
        if (!set && authMode == QLatin1String(mode) && current != QLatin1String(mode)) {
            // A phone ignores the mode; the document is written all the same.
            group->setAuthenticationMode(authMode.toStdWString());
            set = true;
        }
    }
    if (set) {
        orvane_->save();
        rowsChangedHere(false);
    }
    emit authModeChanged();
}

bool CertificatesTableModel::hasCertificates()
{
    return !rows_.empty();
}

void CertificatesTableModel::verifyProviderStatus()
{
    providerProblemFound_ = false;
    providerErrorMessage_.clear();
    emit providerChanged();
}

void CertificatesTableModel::saveToConfigFile()
{
    if (!orvane_)
        return;
    settle();
    orvane_->save();
}

const CertificateRow* CertificatesTableModel::rowOfGroup(const QString& keyGroupName) const
{
    for (const CertificateRow& row : rows_)
        if (row.keyGroup == keyGroupName)
            return &row;
    return nullptr;
}

orvane::model::KeyGroup* CertificatesTableModel::keyGroupFor(const QString& keyGroupName)
{
    if (orvane_) {
        const std::wstring name = keyGroupName.toStdWString();
        for (orvane::model::KeyReference* reference : orvane_->certificates())
            if (reference->group->name() == name)
                return reference->group;
    }
    throw orvane::model::BaseException(kNotFound);
}

void CertificatesTableModel::settle()
{
    BackgroundTask::waitForLast();
}

void CertificatesTableModel::rowsChangedHere(bool insideReset)
{
    std::vector<CertificateRow> fresh = CertificateRow::of(orvane_->certificates());
    staleUpTo_ = refreshesStarted_;
    // A refresh whose report is still queued may have brought rows that the
    // view does not know yet: then they arrive through a reset.
    const auto shownAlike = [](const CertificateRow& a, const CertificateRow& b) {
        return a.certificateName == b.certificateName && a.validUntil == b.validUntil && a.keyGroup == b.keyGroup;
    };
    const bool sameShown = std::equal(fresh.begin(), fresh.end(), rows_.begin(), rows_.end(), shownAlike);
    if (insideReset || sameShown) {
        rows_ = std::move(fresh);
        return;
    }
    beginResetModel();
    rows_ = std::move(fresh);
    endResetModel();
}

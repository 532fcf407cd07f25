#include "ui/models/CertificateRow.h"

#include "model/keys/KeyGroup.h"
#include "model/keys/KeyReference.h"

QString CertificateRow::typeName(std::int32_t groupType)
{
    switch (groupType) {
    case orvane::model::KeyGroup::Cloud:
        return QStringLiteral("CLOUD");
    case orvane::model::KeyGroup::Smartphone:
        return QStringLiteral("SMARTPHONE");
    default:
        return {};
    }
}

std::vector<CertificateRow> CertificateRow::of(const std::vector<orvane::model::KeyReference*>& references)
{
    std::vector<CertificateRow> rows;
    rows.reserve(references.size());
    // Consecutive references mostly share a group: ask each group once.
    const orvane::model::KeyGroup* lastGroup = nullptr;
    CertificateRow groupPart;
    for (const orvane::model::KeyReference* reference : references) {
        if (reference->group != lastGroup) {
            lastGroup = reference->group;
            groupPart.keyGroup = QString::fromStdWString(lastGroup->name());
            groupPart.groupType = lastGroup->type();
            groupPart.authenticationMode = QString::fromStdWString(lastGroup->authenticationMode());
        }
        CertificateRow row = groupPart;
        row.certificateName = QString::fromStdWString(reference->friendlyName);
        row.validUntil = QString::fromStdString(reference->certificate->validity().notAfterDate());
        rows.push_back(std::move(row));
    }
    return rows;
}

#pragma once

#include <QString>

#include <cstdint>
#include <vector>

namespace orvane::model { class KeyReference; }

// What the certificate list shows of one key reference, copied out of the
// identity. A refresh builds these on its worker thread and hands them to the
// GUI thread whole, so the screens never read the identity while a worker
// changes it, and never through a pointer that a new listing has freed.
struct CertificateRow {
    QString certificateName;
    QString validUntil;
    // The display name of the reference's key group: the section label and
    // the key of every group operation.
    QString keyGroup;
    std::int32_t groupType = -1;
    QString authenticationMode;

    // How the screens name a group's type: "CLOUD", "SMARTPHONE", or "".
    static QString typeName(std::int32_t groupType);

    // One row per reference, in the identity's order.
    static std::vector<CertificateRow> of(const std::vector<orvane::model::KeyReference*>& references);
};

#pragma once

#include "model/kestrel/DeviceAuthorization.h"
#include "model/kestrel/DeviceEntry.h"

#include <QString>

#include <vector>

// What the two device lists show of a phone and of the end of a wait.
class DeviceOutcome {
public:
    // The phone's name, or the first eight characters of `otherwise` when
    // it has none.
    static QString shownText(const std::wstring& text, const std::wstring& otherwise);

    // The phones of a wait that did not answer, in order.
    static std::vector<QString> unanswered(const std::vector<orvane::model::DeviceAuthorization>& results);

    // "Concluído" when everyone answered, otherwise the warning followed by
    // one line per phone that did not.
    static QString listText(const std::vector<QString>& unanswered);
};

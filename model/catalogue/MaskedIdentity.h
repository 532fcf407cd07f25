#pragma once

#include <string>
#include <vector>

namespace orvane::model {

// All inputs of a hierarchy run through their masks. When accepted, `parts`
// go to the service and `text` is the display form; otherwise `parts` is
// empty and `text` is the message of the first field that failed.
struct MaskedIdentity {
    bool accepted = true;
    std::vector<std::wstring> parts;
    std::wstring text;
};

} // namespace orvane::model

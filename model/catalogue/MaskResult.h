#pragma once

#include <string>

namespace orvane::model {

// One input run through its field's mask. `text` is the display form when
// accepted, otherwise the message to show; `stripped` is the input with the
// mask's literals taken out, which is what the service receives.
struct MaskResult {
    bool accepted = true;
    std::wstring stripped;
    std::wstring text;
};

} // namespace orvane::model

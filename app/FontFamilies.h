#pragma once

// The screens name some faces by family names that fontconfig does not know
// ("Open Sans Bold", "Open Sans Regular", "Open Sans Condensed Bold"): the
// faces in our resource register as "Open Sans" with a weight, and as
// "Open Sans Condensed". Mapping those names to the real families keeps the
// text in Open Sans instead of a silent fall-back to the system's sans.
class FontFamilies {
public:
    static void registerSubstitutes();
};

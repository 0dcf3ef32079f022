#include <vector>

#include "plugin/render/settings_table.h"

namespace lumora {

namespace {

// Runs of ids without gaps.
struct Run {
    Int32 first;
    std::vector<const char*> names;
};

const Run kRuns[] = {
    {99, {"Agfacolor_Futura_100CD",    "Agfacolor_Futura_200CD",      "Agfacolor_Futura_400CD",
          "Agfacolor_Futura_II_100CD", "Agfacolor_Futura_II_200CD",   "Agfacolor_Futura_II_400CD",
          "Agfacolor_HDC_100_plusCD",  "Agfacolor_HDC_200_plusCD",    "Agfacolor_HDC_400_plusCD",
          "Agfacolor_Optima_II_100CD", "Agfacolor_Optima_II_200CD",   "Agfacolor_ultra_050_CD",
          "Agfacolor_Vista_100CD",     "Agfacolor_Vista_200CD",       "Agfacolor_Vista_400CD",
          "Agfacolor_Vista_800CD",     "Agfachrome_CT_precisa_100CD", "Agfachrome_CT_precisa_200CD",
          "Agfachrome_RSX2_050CD",     "Agfachrome_RSX2_100CD",       "Agfachrome_RSX2_200CD"}},
    {201, {"Advantix_100CD",  "Advantix_200CD",   "Advantix_400CD",        "Gold_100CD",        "Gold_200CD",
           "Max_Zoom_800CD",  "Portra_100TCD",    "Portra_160NCCD",        "Portra_160VCCD",    "Portra_800CD",
           "Portra_400VCCD",  "Portra_400NCCD",   "Ektachrome_100_plusCD", "Ektachrome_320TCD", "Ektachrome_400XCD",
           "Ektachrome_64CD", "Ektachrome_64TCD", "Ektachrome_E100SCD",    "Ektachrome_100CD",  "Kodachrome_200CD",
           "Kodachrome_25",   "Kodachrome_64CD"}},
    {301,
     {"F125CD", "F250CD", "F400CD", "FCICD", "DSCS315_1", "DSCS315_2", "DSCS315_3", "DSCS315_4", "DSCS315_5",
      "DSCS315_6", "FP2900Z"}},
    {400, {"Linear", "sRGB", "Gamma 1.8", "Gamma 2.2"}},
};

}  // namespace

std::span<const FilmResponse> filmResponses() {
    static const std::vector<FilmResponse> list = [] {
        std::vector<FilmResponse> all;
        for (const Run& run : kRuns)
            for (std::size_t i = 0; i < run.names.size(); ++i)
                all.push_back({run.first + static_cast<Int32>(i), run.names[i]});
        return all;
    }();
    return list;
}

}  // namespace lumora

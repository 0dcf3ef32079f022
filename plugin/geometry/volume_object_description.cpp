#include "plugin/core/class_descriptions.h"
#include "plugin/core/parameter_rows.h"

namespace lumora {

namespace {

using namespace row;

constexpr ParameterChoice kSources[] = {{0, "VDB file if present"}, {1, "Generated"}, {2, "VDB file"}};
constexpr ParameterChoice kGrids[] = {{0, "None"},        {1, "Density"}, {2, "Fuel"},  {3, "Heat"}, {4, "Burn"},
                                      {5, "Temperature"}, {6, "Vel.x"},   {7, "Vel.y"}, {8, "Vel.z"}};

const Parameter kRows[] = {
    choice(10031, "Source", 0, kSources),
    vector(10000, "Size", {100, 100, 100}),
    real(10001, "Voxel size", 5.0, 0.001),
    real(10033, "Final render resolution", 1.0, 0.01, 100),
    {.id = 10003, .kind = ParameterKind::File, .label = "VDB file", .choices = {}},
    {.id = 10023, .kind = ParameterKind::File, .label = "Second file", .choices = {}},
    real(10007, "Step length", 20.0, 0),
    real(10010, "Border fade", 0, 0),
    integer(10011, "Frame offset", 1),
    integer(10012, "Sequence offset", 0),
    integer(10013, "Sequence start", 0),
    integer(10014, "Sequence end", 0),
    integer(10015, "Sequence step", 0),
    toggle(10032, "Loop", false),
    choice(10017, "Absorption mapping", 1, kGrids),
    choice(10018, "Scatter mapping", 1, kGrids),
    choice(10019, "Emission mapping", 1, kGrids),
    real(10020, "Absorption scale", 1.0, 0),
    real(10021, "Scatter scale", 1.0, 0),
    real(10022, "Emission scale", 50.0, 0),
    shader(10024, "Medium"),
    toggle(10026, "Velocity", false),
    real(10025, "Velocity scale", 1.0),
    choice(10028, "Vel.x mapping", 6, kGrids),
    choice(10029, "Vel.y mapping", 7, kGrids),
    choice(10030, "Vel.z mapping", 8, kGrids),
    real(10035, "Density", 1.0, 0),
};

const Description kDescription{kRows};

}  // namespace

const Description* volumeObjectDescription() {
    return &kDescription;
}

}  // namespace lumora

#include "commands.h"

namespace trqprep {

// clang-format off
const CommandList kCommands = {
    AddBuild,
    AddVerify,
    AddReport,
    AddFleet,
    AddInfo,
    AddCheck,
    AddEstimate,
    AddConvert,
    AddExplain,
    AddTransform,
    AddPlace,
    AddZcomp,
    AddHollow,
    AddSimplify,
    AddRepair,
    AddMerge,
    AddVents,
    AddSlice,
    AddSlc,
    AddRender,
    AddStyle,
    AddRecoat,
    AddParams,
    AddMachines,
    AddCompletion,
    AddVersion,
    AddHelp,
};
// clang-format on

}  // namespace trqprep

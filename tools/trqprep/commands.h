/// The commands of the tool.
#pragma once

#include "cli/command.h"

namespace trqprep {

/// All of them.
extern const CommandList kCommands;

// Each in command_<name>.cpp.
void AddBuild(CommandTree& tree);
void AddVerify(CommandTree& tree);
void AddReport(CommandTree& tree);
void AddFleet(CommandTree& tree);
void AddInfo(CommandTree& tree);
void AddCheck(CommandTree& tree);
void AddEstimate(CommandTree& tree);
void AddConvert(CommandTree& tree);
void AddExplain(CommandTree& tree);
void AddTransform(CommandTree& tree);
void AddPlace(CommandTree& tree);
void AddZcomp(CommandTree& tree);
void AddHollow(CommandTree& tree);
void AddSimplify(CommandTree& tree);
void AddRepair(CommandTree& tree);
void AddMerge(CommandTree& tree);
void AddVents(CommandTree& tree);
void AddSlice(CommandTree& tree);
void AddSlc(CommandTree& tree);
void AddRender(CommandTree& tree);
void AddStyle(CommandTree& tree);
void AddRecoat(CommandTree& tree);
void AddParams(CommandTree& tree);
void AddMachines(CommandTree& tree);
void AddCompletion(CommandTree& tree);
void AddVersion(CommandTree& tree);
void AddHelp(CommandTree& tree);

}  // namespace trqprep

#include "commands.h"

int main(int argc, char** argv) { return trqprep::RunCommandLine(trqprep::kCommands, argc, argv); }

#include "cli/command.h"

int main(int argc, char** argv) { return trqprep::RunCommandLine(argc, argv); }

// gantry: looks at a running host and drives it.

#include <hosts/gantry/ToolProgram.h>

int main(int argc, char** argv) { return Host::toolRun(argc, argv); }

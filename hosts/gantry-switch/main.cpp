// gantry-switch: serves the live state of a Linux host.

#include <hosts/gantry-switch/Switch.h>
#include <hosts/support/Program.h>

int main(int argc, char** argv) {
   return Host::programRun("gantry-switch", [=] { return Host::switchRun(argc, argv); });
}

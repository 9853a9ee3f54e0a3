// gantry-controller: mounts from switches what its services declare.

#include <hosts/gantry-controller/ControllerProgram.h>
#include <hosts/support/Program.h>

int main(int argc, char** argv) {
   return Host::programRun("gantry-controller", [=] { return Host::controllerRun(argc, argv); });
}

// gantry-mount: mounts a path from other systems and shows it live.

#include <hosts/gantry-mount/MountProgram.h>
#include <hosts/support/Program.h>

int main(int argc, char** argv) {
   return Host::programRun("gantry-mount", [=] { return Host::mountRun(argc, argv); });
}

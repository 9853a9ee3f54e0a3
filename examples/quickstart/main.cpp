// Serves a port, mounts a live copy of it over TCP, and prints each change of the copy.
#include <gantry/Gantry.h>
#include <quickstart/Port.fen.h>

#include <iostream>

struct Watch final : Example::Port::NotifieeConst {
   explicit Watch(Fen::Ptr<Example::Port> const& port) : NotifieeConst(port) {
      isRegisteredNotifieeIs(true);
   }
   void onSpeed() override { std::cout << "the copy's speed is " << notifier()->speed() << '\n'; }
};

int main() {
   Fen::ActivityLoop& loop = Fen::ActivityLoop::instance();
   // The system leaf1: a tree with one port, served on a free TCP port of the loopback.
   auto const root = Fen::dirFactory("root");
   auto const port = Example::portFactory("eth0");
   root->entityPtrIs(port);
   auto const server = Cairn::serverFactory("leaf1", root, Nimet::IpAddr("127.0.0.1"), 0);

   // Who mounts eth0 from it, as /leaf1 of the own tree, again and again when the connection goes.
   auto const peer = Controller::connectionConfigFactory("leaf1");
   peer->sysnameIs("leaf1");
   peer->ipIs(Nimet::IpAddr("127.0.0.1"));
   peer->portIs(server->port());
   Controller::SystemId const id("02:00:00:00:00:01");
   auto const data = Controller::mountSmDataFactory(id, "");
   auto const mount =
      Controller::mountSmFactory(id, peer, "", "eth0", "/leaf1", "Example::Port", "", 5, 10, data);
   while (data->mountState() != Controller::mountStateMounted) {
      loop.runOnce(1.0);
   }
   std::cout << "mounted\n";
   auto const copy = Fen::ptrCast<Example::Port>(Fen::Entity::entity(Fen::EntityUriPath("/leaf1")));
   auto const watch = Fen::makePtr<Watch>(copy);
   port->speedIs(1000); // on the system; the copy follows
   while (copy->speed() != 1000) {
      loop.runOnce(1.0);
   }
   mount->doCleanup();
}

/// Private to the library. The mounting side's end of one connection. Owned by its link; on the
/// activity loop's thread.
#pragma once

#include <gantry/runtime/cairn/Session.h>

namespace Cairn {

class ClientMount;
class Link;

class GANTRY_EXPORT ClientSession : public Session {
 public:
   /// Without a socket: for tests. The link may be null.
   ClientSession(TcpConfig const& config, Fen::String8 peer, Link* link);
   /// Begins to connect; an attempt that is impossible at once ends in the next turn.
   void connect(Nimet::IpAddr const& address, std::uint16_t port, Nimet::IpAddr const& source);
   /// Sends the first frame.
   void helloSend();

   /// Asks for a mount on a fresh channel. False when the connection has no number left.
   bool mountIs(Fen::Ptr<ClientMount> const& mount);
   void linkDel() { link_ = nullptr; }

 protected:
   ~ClientSession() override;

   void handleControl(Fen::NboAttrLog::FrameKind kind, std::uint32_t channel,
                      Fen::ByteConnection::In& in) override;
   void handleConnected() override;
   void handleClosed(Ending const& ending, bool fatal) override;

 private:
   void takeReply(std::uint32_t number, MountReply const& reply);

   Link* link_;
};

} // namespace Cairn

/// Private to the library. One connection to one peer, as both ends have it: frames, the handshake,
/// heartbeats, limits, and the channels that carry the mounts. Made and owned by a link (the
/// mounting side) or a server (the serving side); on the activity loop's thread.
///
/// Bytes come in through take(), from the socket or from a test. What a peer must not send closes
/// the session with one reason, which is traced and counted as "cairn.closed." and its name.
/// Whatever runs inside (reactors of the mounted entities, mounters) may close the session, end
/// channels or drop both.
#pragma once

#include <gantry/runtime/cairn/ControlFrames.h>
#include <gantry/runtime/cairn/PeerUse.h>
#include <gantry/runtime/cairn/Socket.h>
#include <gantry/runtime/cairn/TcpConfig.h>
#include <gantry/runtime/fen/Clock.h>
#include <gantry/runtime/fen/NboAttrLogDemuxer.h>

#include <unordered_map>
#include <vector>

namespace Cairn {

class Session;

/// One mount on a session. Owned by the session, and by whoever else works with it. It knows its
/// session by a plain pointer, null before and after its time on it.
class GANTRY_EXPORT Channel : public Fen::PtrInterface, public Fen::NboAttrLog::Demuxer::User {
 public:
   std::uint32_t number() const { return number_; }
   Session* session() const { return session_; }
   Fen::Ptr<Fen::NboAttrLog::Demuxer> const& log() const { return log_; }

   /// The channel has ended, by the peer's wish, by a refusal that concerns it alone, or with the
   /// session. The log is closed, the session forgotten. `fatal` says that trying again is of no
   /// use.
   virtual void handleChannelEnded(Ending const& ending, bool fatal) = 0;
   /// The log is about to be closed and dropped.
   virtual void handleLogClosing() {}

 protected:
   ~Channel() override;
   void logIs(Fen::Ptr<Fen::NboAttrLog::Demuxer> const& log) { log_ = log; }
   void logClose();

 private:
   friend class Session;

   std::uint32_t number_ = 0;
   Session* session_ = nullptr;
   Fen::Ptr<Fen::NboAttrLog::Demuxer> log_;
};

class GANTRY_EXPORT Session : public Fen::PtrInterface,
                              private Fen::Connection::Out::User,
                              private Fen::TurnEndWork,
                              private Socket::User {
 public:
   /// Takes bytes that have arrived and handles the whole frames among them; says how many bytes
   /// were used. The bytes may be changed.
   std::size_t take(std::uint8_t* bytes, std::size_t count);

   /// Closes the session: the peer is told when it can be, then the channels' logs are closed and
   /// the channels told. `name` is what the reason is counted by. A closed one stays as it is.
   void close(Ending const& ending, char const* name, bool fatal);
   bool isClosed() const { return closed_; }
   bool isEstablished() const { return established_; }
   /// The peer as traces name it.
   Fen::String8 const& peer() const { return peer_; }
   TcpConfig const& config() const { return config_; }
   Fen::Connection::Out& out() const { return *out_; }
   /// What the connection holds.
   PeerUse use() const;

   /// Ends a channel from this side; the peer is told the reason. The channel itself is not.
   void channelDel(Channel& channel, Ending const& ending);
   std::size_t channels() const { return order_.size(); }
   /// How the log of a channel is connected to this session.
   Fen::NboAttrLog::Demuxer::Options logOptions(Channel const& channel, bool writable) const;

   /// Sends what is dirty and what is written, as the end of a turn does.
   void flush();

 protected:
   /// The socket may come later, or never.
   Session(TcpConfig const& config, Fen::String8 peer, bool isServed);
   ~Session() override;

   /// Takes over the socket, whose user is socketUser().
   void socketIs(Fen::Ptr<Socket> const& socket);
   Socket::User* socketUser() { return this; }
   Fen::Ptr<Socket> const& socket() const { return socket_; }
   /// Where the peer is, before it has said who it is.
   void peerIs(Fen::String8 peer) {
      peer_ = peer;
      address_ = peer;
   }
   /// Who the peer says that it is.
   void peerNameIs(Fen::String8 name) {
      name_ = name;
      peer_ = address_ + " (" + name + ")";
   }
   /// The handshake is through.
   void establishedIs();
   /// Opens a channel with a number larger than all before it.
   void channelIs(Fen::Ptr<Channel> const& channel, std::uint32_t number);
   std::uint32_t highestChannel() const { return highestChannel_; }
   Fen::Ptr<Channel> channel(std::uint32_t number) const;
   /// Takes a channel out without a word to the peer.
   void channelForget(Channel const& channel) { channelTaken(channel.number_); }
   /// Takes the peer's end of a channel.
   void channelEnded(std::uint32_t number, Ending const& ending);
   /// Bytes that were written for the connection itself may not pile up without end.
   void controlWritten();
   /// The peer's hello or its answer: throws, or closes the session, when it does not fit.
   bool peerFits(std::uint16_t version, std::uint32_t messageBytes);

   /// A frame of the connection that only one of the sides takes. Throws ProtocolException.
   virtual void handleControl(Fen::NboAttrLog::FrameKind kind, std::uint32_t channel,
                              Fen::ByteConnection::In& in) = 0;
   /// The socket has become writable for the first time, or the attempt to connect has failed.
   virtual void handleConnected();
   /// The session is closed; the last call on the owner.
   virtual void handleClosed(Ending const& ending, bool fatal) = 0;

   bool connected_ = false;

 private:
   class Timer;

   void handleOutPending() override;
   void handleTurnEnd() override;
   void handleReadable() override;
   void handleWritable() override;
   void handleTime();
   void armTimer();
   std::size_t frame(std::uint8_t* bytes, std::size_t count);
   void logFrame(Fen::NboAttrLog::FrameKind kind, std::uint32_t number, std::uint8_t* payload,
                 std::size_t bytes);
   void control(Fen::NboAttrLog::FrameKind kind, std::uint32_t number, std::uint8_t* payload,
                std::size_t bytes);
   void takeGoodbye(Fen::ByteConnection::In& in);
   bool flushChannels();
   void send();
   void channelsClose(Ending const& ending, bool fatal);
   Fen::Ptr<Channel> channelTaken(std::uint32_t number);

   TcpConfig const config_;
   Fen::String8 peer_;
   Fen::String8 address_;
   Fen::String8 name_;
   bool const isServed_;
   Fen::Ptr<Fen::Connection::Out> out_;
   Fen::Ptr<Fen::NboAttrLog::TreeBudget> budget_;
   Fen::Ptr<Socket> socket_;
   Fen::Ptr<Timer> timer_;
   std::unordered_map<std::uint32_t, Fen::Ptr<Channel>> channels_;
   /// The same channels in order of opening, for flushing in turn.
   std::vector<Channel*> order_;
   std::size_t nextToFlush_ = 0;
   /// The channel of the last message: most messages follow one of the same channel.
   Channel* lastChannel_ = nullptr;
   std::uint32_t highestChannel_ = 0;
   /// Received bytes of a frame that is not complete.
   std::vector<std::uint8_t> rest_;
   double started_;
   double lastReceived_;
   double lastSent_;
   /// Frames written that have been counted.
   std::uint64_t framesCounted_ = 0;
   bool blocked_ = false;
   bool established_ = false;
   bool closed_ = false;
};

} // namespace Cairn

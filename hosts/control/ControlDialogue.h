/// What one client says and is told at a control socket, without the socket: bytes in, requests and
/// their answers in the same order, what it watches, bytes out.
///
/// Owned by its session; on the activity loop's thread. What it holds is bounded, whatever the
/// client sends.
#pragma once

#include <hosts/control/ControlCommands.h>
#include <hosts/support/TreeWatch.h>

#include <memory>
#include <string>
#include <string_view>

namespace Host {

class ControlDialogue final : private TreeListener {
 public:
   static constexpr std::size_t longestRequest = 64 << 10;
   static constexpr std::size_t longestAnswer = 4 << 20;
   /// Then others have their turn.
   static constexpr unsigned requestsAtOnce = 8;
   /// A client that does not read its answers is not answered any more beyond this.
   static constexpr std::size_t pauseUnsent = 1 << 20;
   /// One that watches and does not read is cut off beyond this.
   static constexpr std::size_t mostUnsent = 16 << 20;

   class User {
    public:
      /// There is something to send, from inside whatever led to it.
      virtual void handleUnsent() = 0;

    protected:
      ~User() = default;
   };

   /// Both live longer.
   ControlDialogue(ControlCommands const& commands, User* user);
   ~ControlDialogue();
   ControlDialogue(ControlDialogue const&) = delete;
   ControlDialogue& operator=(ControlDialogue const&) = delete;

   /// Takes bytes that have come and answers requests that are whole now, but not so many that the
   /// loop would be kept from others for long.
   void take(std::string_view bytes);
   /// Goes on with requests that were left; says whether there were any that could be answered.
   bool goOn();

   std::string const& unsent() const { return unsent_; }
   /// The first `bytes` of it have been sent.
   void sentIs(std::size_t bytes) { unsent_.erase(0, bytes); }
   /// Nothing is to be taken before what was left has been answered or sent.
   bool isPaused() const { return isFull() || hasRequest_; }
   /// Nothing more is to be read: where the next request begins cannot be told.
   bool isLast() const { return isLast_; }
   /// The client has let too much wait.
   bool isCutOff() const { return isCutOff_; }

 private:
   bool isFull() const { return unsent_.size() >= pauseUnsent; }
   void takeRequests();
   void handleRequest(std::string_view line);
   Json answer(std::string_view line);
   Json watch(Json const& request);
   void send(Json const& json);
   void sendLine(std::string const& line);

   void entityAdded(std::string const& path, Fen::Entity const& entity) override;
   void entityRemoved(std::string const& path) override;
   void valueChanged(std::string const& path, Fen::Entity const& entity,
                     Fen::AttrDesc const& attribute, void const* key) override;
   void rootGone() override;
   void event(char const* name, std::string const& path, Json more);

   ControlCommands const& commands_;
   User* const user_;
   std::string received_;
   std::string unsent_;
   std::string watchedPath_;
   std::unique_ptr<TreeWatch> watch_;
   /// A whole request has been left.
   bool hasRequest_ = false;
   bool isLast_ = false;
   bool isCutOff_ = false;
};

} // namespace Host

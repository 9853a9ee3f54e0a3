// A blocking client of one socket.

#include <hosts/gantry/HostConnection.h>

#include <hosts/support/Program.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Host {

namespace {

std::string refusalText(Json const& answer) {
   std::string text = answer.value("text", "the host refuses without a reason");
   std::string const hint = answer.value("hint", "");
   return hint.empty() ? text : text + "; " + hint;
}

std::string noHostText(std::string const& path, int reason) {
   struct stat status {};
   if (reason == EACCES || reason == EPERM) {
      return path + " belongs to another user; run this as that user";
   }
   if (::stat(path.c_str(), &status) == 0 && !S_ISSOCK(status.st_mode)) {
      return path + " is no socket; give the --control path of a host";
   }
   return "no host answers at " + path + "; start one with --control " + path;
}

} // namespace

HostConnection::HostConnection(std::string path) : path_(std::move(path)) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if (path_.empty() || path_.size() >= sizeof address.sun_path) {
      throw UserError("--control: '" + path_ +
                      "' is no path of a socket; give the one that the "
                      "host was started with");
   }
   std::memcpy(address.sun_path, path_.data(), path_.size());
   descriptor_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
   if (::connect(descriptor_, reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0) {
      int const reason = errno;
      ::close(descriptor_);
      throw NoHostError(noHostText(path_, reason));
   }
}

HostConnection::~HostConnection() { ::close(descriptor_); }

void HostConnection::send(std::string const& text) {
   for (std::size_t sent = 0; sent < text.size();) {
      ssize_t const size =
         ::send(descriptor_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
      if (size < 0 && errno != EINTR) {
         // What the host said before it closed is still there to be read.
         return;
      }
      sent += size > 0 ? static_cast<std::size_t>(size) : 0;
   }
}

std::string HostConnection::line() {
   std::size_t searched = 0;
   for (;;) {
      std::size_t const end = received_.find('\n', searched);
      if (end != std::string::npos) {
         std::string const result = received_.substr(0, end);
         received_.erase(0, end + 1);
         return result;
      }
      searched = received_.size();
      char buffer[64 << 10];
      ssize_t const size = ::recv(descriptor_, buffer, sizeof buffer, 0);
      if (size < 0 && errno == EINTR) {
         continue;
      }
      if (size <= 0) {
         throw NoHostError("the host at " + path_ + " went away; ask again when it runs");
      }
      received_.append(buffer, static_cast<std::size_t>(size));
   }
}

Json HostConnection::next() {
   Json const json = Json::parse(line(), nullptr, false);
   if (!json.is_object()) {
      throw NoHostError(path_ + " does not speak this tool's protocol; give the control socket of "
                                "a host");
   }
   return json;
}

Json HostConnection::ask(Json const& request) {
   send(request.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
   Json answer = next();
   if (!answer.value("ok", false)) {
      throw RefusedError(refusalText(answer));
   }
   return answer;
}

} // namespace Host

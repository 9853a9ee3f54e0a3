/// When the fields of a connection suffice.
#include <gantry/common/ConnectionConfig.fen.h>

namespace Controller {

bool ConnectionConfig::isValid() const { return ip() != Nimet::IpAddr() && port() != 0; }

} // namespace Controller

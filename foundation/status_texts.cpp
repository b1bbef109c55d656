#include "foundation/status_texts.h"

#include <algorithm>
#include <iterator>

namespace trq::detail {

namespace {

struct StatusRow {
  int code;
  const char* text;
};

// Kept: several texts are no more than a name, a blank and a period.
constexpr StatusRow kStatusTexts[] = {
    // The command protocol.
    {125, "CMD_UNKNOWN"},
    {126, "CMD_ABORTED"},
    {127, "CMD_REJECTED"},
    {128, "CMD_INVALID_TABLE_ID"},
    {129, "CMD_INVALID_KEY"},
    {130, "CMD_INVALID_VALUE"},
    {131, "CMD_INVALID_OPERATION"},
    {132, "CMD_QUEUE_FULL"},
    {133, "CMD_QUEUE_EMPTY"},
    {134, "CMD_INVALID_PID"},
    {135, "CMD_DISK_FULL"},
    // The connection.
    {200, "TCP_BAD"},
    {201, "NO_HOST_FOUND"},
    {202, "NO_SERVICES_FOUND"},
    {203, "UNABLE_TO_CREATE_SOCKET"},
    {204, "UNABLE_TO_MAKE_CONNECTION"},
    {205, "UNABLE_TO_READ_SOCKET_ADDRESS"},
    {206, "UNABLE_TO_BIND_SOCKET"},
    {207, "NO_PROTOCOL_ENTRY_FOUND"},
    {208, "SOCKET_TIMEOUT_ERROR"},
    {209, "PROTOCOL_VIOLATION_ERROR"},
    // Sockets.
    {10004, "(WSAEINTR) Interrupted function call."},
    {10009, "(WSAEBADF) Bad file descriptor."},
    {10013, "(WSAEACCES) Permission denied."},
    {10014, "(WSAEFAULT) Bad address."},
    {10022, "(WSAEINVAL) Invalid argument."},
    {10024, "(WSAEMFILE) Too many open files."},
    {10035, "(WSAEWOULDBLOCK) Resource temporarily unavailable."},
    {10036, "(WSAEINPROGRESS) Operation now in progress."},
    {10037, "(WSAEALREADY) Operation already in progress."},
    {10038, "(WSAENOTSOCK) Socket operation on non-socket."},
    {10039, "(WSAEDESTADDRREQ) Destination address required."},
    {10040, "(WSAEMSGSIZE) Message too long."},
    {10041, "(WSAEPROTOTYPE) Protocol wrong type for socket."},
    {10042, "(WSAENOPROTOOPT) Bad protocol option."},
    {10043, "(WSAEPROTONOSUPPORT) Protocol not supported."},
    {10044, "(WSAESOCKTNOSUPPORT) Socket type not supported."},
    {10045, "(WSAEOPNOTSUPP) Operation not supported."},
    {10046, "(WSAEPFNOSUPPORT) Protocol family not supported."},
    {10047, "(WSAEAFNOSUPPORT) Address family not supported by protocol family."},
    {10048, "(WSAEADDRINUSE) Address already in use."},
    {10049, "(WSAEADDRNOTAVAIL) Cannot assign requested address."},
    {10050, "(WSAENETDOWN) Network is down."},
    {10051, "(WSAENETUNREACH) Network is unreachable."},
    {10052, "(WSAENETRESET) Network dropped connection on reset."},
    {10053, "(WSAECONNABORTED) Software caused connection abort."},
    {10054, "(WSAECONNRESET) Connection reset by peer."},
    {10055, "(WSAENOBUFS) No buffer space available."},
    {10056, "(WSAEISCONN) Socket is already connected."},
    {10057, "(WSAENOTCONN) Socket is not connected."},
    {10058, "(WSAESHUTDOWN) Cannot send after socket shutdown."},
    {10059, "(WSAETOOMANYREFS) ."},
    {10060, "(WSAETIMEDOUT) Connection timed out."},
    {10061, "(WSAECONNREFUSED) Connection refused."},
    {10062, "(WSAELOOP) ."},
    {10063, "(WSAENAMETOOLONG) ."},
    {10064, "(WSAEHOSTDOWN) Host is down."},
    {10065, "(WSAEHOSTUNREACH) No route to host."},
    {10066, "(WSAENOTEMPTY) ."},
    {10067, "(WSAEPROCLIM) Too many processes."},
    {10068, "(WSAEUSERS) ."},
    {10069, "(WSAEDQUOT) ."},
    {10070, "(WSAESTALE) ."},
    {10071, "(WSAEREMOTE) ."},
    {10091, "(WSASYSNOTREADY) Network subsystem is unavailable."},
    {10092, "(WSAVERNOTSUPPORTED) WINSOCK.DLL version out of range."},
    {10093, "(WSANOTINITIALISED) Successful WSAStartup not yet performed."},
    {10101, "(WSAEDISCON) Graceful termination of virtual circuit."},
    {11001, "(WSAHOST_NOT_FOUND) Authoritative answer - host not found."},
    {11002, "(WSATRY_AGAIN) Non-authoritative host not found."},
    {11003, "(WSANO_RECOVERY) There is a non-recoverable error."},
    {11004, "(WSANO_DATA) Valid name, no data record of requested type."},
};
static_assert(std::size(kStatusTexts) == 72, "one row a status code");

constexpr bool InAscendingOrder() {
  for (size_t i = 1; i < std::size(kStatusTexts); ++i) {
    if (kStatusTexts[i - 1].code >= kStatusTexts[i].code) return false;
  }
  return true;
}
static_assert(InAscendingOrder(), "the codes are searched by halves");

}  // namespace

const char* StatusText(int code) {
  const StatusRow* row = std::lower_bound(std::begin(kStatusTexts), std::end(kStatusTexts), code,
                                          [](const StatusRow& a, int b) { return a.code < b; });
  return row != std::end(kStatusTexts) && row->code == code ? row->text : nullptr;
}

}  // namespace trq::detail

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include "host/system.h"
#include "trq/foundation.h"

namespace {

TEST(CErrorObject, StartsWithoutAnError) {
  const CErrorObject object;
  EXPECT_EQ(object.GetErrorCode(), 0);
  EXPECT_STREQ(object.GetErrorMessage(), "");
}

TEST(CErrorObject, FirstFailureWins) {
  CErrorObject object;
  object.SetError(5, "a");
  object.SetError(7, "b");
  EXPECT_EQ(object.GetErrorCode(), 5);
  EXPECT_STREQ(object.GetErrorMessage(), "a");
  object.ClearError();
  EXPECT_EQ(object.GetErrorCode(), 0);
  EXPECT_STREQ(object.GetErrorMessage(), "");
  object.SetError(7, "b");
  EXPECT_EQ(object.GetErrorCode(), 7);
  EXPECT_STREQ(object.GetErrorMessage(), "b");
}

TEST(CErrorObject, KeptALaterMessageFillsAnEmptyOneUnderTheEarlierCode) {
  CErrorObject object;
  object.SetError(5, "");
  object.SetError(7, "b");
  EXPECT_EQ(object.GetErrorCode(), 5);
  EXPECT_STREQ(object.GetErrorMessage(), "b");
  CErrorObject reversed;
  reversed.SetError(0, "first message");
  reversed.SetError(7, "second message");
  EXPECT_EQ(reversed.GetErrorCode(), 7);
  EXPECT_STREQ(reversed.GetErrorMessage(), "first message");
}

TEST(CErrorObject, TakesANullTextAsEmpty) {
  CErrorObject object;
  object.SetError(5, nullptr);
  EXPECT_STREQ(object.GetErrorMessage(), "");
  EXPECT_EQ(object.GetErrorCode(), 5);
}

TEST(CErrorObject, RecordsTheSystemsLastError) {
  CErrorObject object;
  errno = 2;
  object.UpdateErrorCode("Open");
  EXPECT_EQ(object.GetErrorCode(), 2);
  EXPECT_STREQ(object.GetErrorMessage(), " Open error: No such file or directory");
}

TEST(CErrorObject, RecordsTheSystemsTextAloneWithoutAName) {
  CErrorObject object;
  errno = 13;
  object.UpdateErrorCode(nullptr);
  EXPECT_EQ(object.GetErrorCode(), 13);
  EXPECT_STREQ(object.GetErrorMessage(), "Permission denied");
}

TEST(CErrorObject, AnErrorWithoutASystemTextIsUnknown) {
  CErrorObject object;
  errno = 99999;
  object.UpdateErrorCode("Open");
  EXPECT_EQ(object.GetErrorCode(), 99999);
  EXPECT_STREQ(object.GetErrorMessage(), " Open error: Unknown error.");
}

TEST(CErrorObject, WithoutASystemErrorRecordsCodeOne) {
  CErrorObject object;
  errno = 0;
  object.UpdateErrorCode("Open");
  EXPECT_EQ(object.GetErrorCode(), 1);
  EXPECT_STREQ(object.GetErrorMessage(), " Unknown Open error");
}

TEST(CErrorObject, KeptWithoutASystemErrorAndWithoutANameSaysNull) {
  CErrorObject object;
  errno = 0;
  object.UpdateErrorCode(nullptr);
  EXPECT_EQ(object.GetErrorCode(), 1);
  EXPECT_STREQ(object.GetErrorMessage(), " Unknown (null) error");
}

TEST(CErrorObject, UpdateAfterAnEarlierErrorChangesNothing) {
  CErrorObject object;
  object.SetError(5, "");
  errno = 2;
  object.UpdateErrorCode("Open");
  EXPECT_EQ(object.GetErrorCode(), 5);
  EXPECT_STREQ(object.GetErrorMessage(), "");
}

TEST(CErrorObject, KeptUpdateOverwritesAMessageThatHasNoCode) {
  CErrorObject object;
  object.SetError(0, "a message without a code");
  errno = 2;
  object.UpdateErrorCode("Open");
  EXPECT_STREQ(object.GetErrorMessage(), " Open error: No such file or directory");
}

TEST(CErrorObject, TakesNamesOfAnyLength) {
  const std::string name(5000, 'n');
  CErrorObject object;
  errno = 2;
  object.UpdateErrorCode(name.c_str());
  EXPECT_EQ(object.GetErrorMessage(), " " + name + " error: No such file or directory");
}

class WithAuxiliaryText : public CErrorObject {
 public:
  void SetAuxiliaryText(const char* text) { auxiliary_text_ = text; }
  const char* AuxiliaryText() const { return auxiliary_text_; }
};

TEST(CErrorObject, ClearLeavesTheAuxiliaryText) {
  WithAuxiliaryText object;
  object.SetAuxiliaryText("aside");
  object.SetError(5, "a");
  object.ClearError();
  EXPECT_STREQ(object.AuxiliaryText(), "aside");
}

TEST(CErrorObject, CopiesItsTextsDeeply) {
  WithAuxiliaryText object;
  object.SetAuxiliaryText("aside");
  object.SetError(5, "a");
  WithAuxiliaryText constructed(object);
  WithAuxiliaryText assigned;
  assigned.SetError(9, "z");
  assigned = object;
  object.ClearError();
  object.SetError(7, "b");
  object.SetAuxiliaryText("other");
  for (const WithAuxiliaryText* copy : {&constructed, &assigned}) {
    EXPECT_EQ(copy->GetErrorCode(), 5);
    EXPECT_STREQ(copy->GetErrorMessage(), "a");
    EXPECT_STREQ(copy->AuxiliaryText(), "aside");
  }
}

TEST(CErrorObject, IsDestroyedThroughItsBase) {
  static_assert(std::has_virtual_destructor_v<CErrorObject>);
  struct Noting : CErrorObject {
    explicit Noting(bool& flag) : destroyed(flag) {}
    ~Noting() override { destroyed = true; }
    bool& destroyed;
  };
  bool destroyed = false;
  std::unique_ptr<CErrorObject>(new Noting(destroyed)).reset();
  EXPECT_TRUE(destroyed);
}

TEST(MsdStrerror, KeptEveryStatusCodeHasItsFixedText) {
  const std::pair<int, const char*> expected[] = {
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
  for (const auto& [code, text] : expected) EXPECT_STREQ(CErrorObject::MsdStrerror(code), text) << code;
}

TEST(MsdStrerror, OtherCodesHaveTheSystemsText) {
  EXPECT_STREQ(CErrorObject::MsdStrerror(2), "No such file or directory");
  EXPECT_STREQ(CErrorObject::MsdStrerror(13), "Permission denied");
#ifdef __linux__
  EXPECT_STREQ(CErrorObject::MsdStrerror(124), "Wrong medium type");  // the code before the table's first
#endif
}

TEST(MsdStrerror, ACodeWithoutAnyTextIsUnknown) {
  for (int code :
       {10010, 10012, 10072, 10090, 10094, 10100, 210, 199, 10003, 11000, 11005, -1, INT_MIN, INT_MAX})
    EXPECT_STREQ(CErrorObject::MsdStrerror(code), "Unknown error.") << code;
}

TEST(MsdStrerror, EachCallOverwritesTheResultBefore) {
  const char* first = CErrorObject::MsdStrerror(200);
  EXPECT_STREQ(first, "TCP_BAD");
  const char* second = CErrorObject::MsdStrerror(10062);
  EXPECT_EQ(first, second);
  EXPECT_STREQ(first, "(WSAELOOP) .");
}

TEST(MsdStrerror, EachThreadHasItsOwnBuffer) {
  const char* here = CErrorObject::MsdStrerror(200);
  std::thread([] { EXPECT_STREQ(CErrorObject::MsdStrerror(201), "NO_HOST_FOUND"); }).join();
  EXPECT_STREQ(here, "TCP_BAD");
}

TEST(GetRootDirectory, IsTheExecutablesDirectoryWithItsSeparator) {
  const std::filesystem::path executable = std::filesystem::u8path(trq::host::ExecutablePath());
  const std::string directory = CErrorObject::GetRootDirectory();
  EXPECT_EQ(directory, (executable.parent_path() / "").u8string());
  EXPECT_EQ(CErrorObject::GetRootDirectory(), CErrorObject::GetRootDirectory());  // one lasting text
}

}  // namespace

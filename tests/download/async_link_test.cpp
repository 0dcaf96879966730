#include "download/async_link.h"

#include <doctest.h>

using download::AsyncLink;

namespace {

// Handles of the tests; nothing is ever done with them.
HINTERNET Handle(int number) { return reinterpret_cast<HINTERNET>(0x1000 + 4 * number); }

void Close(AsyncLink* link, HINTERNET handle) {
  AsyncLink::OnStatus(handle, reinterpret_cast<DWORD_PTR>(link), INTERNET_STATUS_HANDLE_CLOSING,
                      &handle, sizeof(handle));
}

}  // namespace

TEST_CASE("nobody takes a link for done with while a handle that knows it is open") {
  for (int opened = 0; opened <= 9; ++opened) {
    for (int closed = 0; closed <= opened; ++closed) {
      CAPTURE(opened);
      CAPTURE(closed);
      download::TransferState state;
      auto* const link = new AsyncLink(&state);
      for (int i = 0; i < opened; ++i) {
        link->Hold(Handle(i));
        link->Hold(Handle(i));  // Told twice, by the call and by the library.
      }
      for (int i = 0; i < closed; ++i) Close(link, Handle(i));
      // A ninth is never known to have closed.
      const bool last = closed == opened && opened <= 8;
      CHECK(link->Detach(/*wait=*/false) == last);
      for (int i = closed; i < opened && opened <= 8; ++i) Close(link, Handle(i));
    }
  }
}

// Downloads from servers that break off, lie and change their mind, at random places: what is left
// is the exact file or a code that says why not, and a later attempt at a good server completes it.

#include <doctest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "download/recording_listener.h"
#include "reliability/faulty_server.h"
#include "reliability/part.h"
#include "support/download_rig.h"
#include "support/ftp_server.h"

using test::FaultyServer;
using test::FtpServer;
using test::Part;
using test::Random;
using test::RecordingListener;
using test::Target;

namespace {

// Codes that a broken transfer ends with.
constexpr uint32_t kStated[] = {
    12002,  // Timed out: also for a server that does not go on where the file ends.
    12029,
    12030,
    12031,
    12152,
    WSAECONNRESET,
    download::kEndedShort,
    download::kAlreadyComplete,
    download::kNotModified,
    download::kForbidden,
    download::kNotFound,
};

const char kOld[] = "the file of an earlier installation";

std::shared_ptr<const std::string> RandomContent(Random* random) {
  // Most between nothing and a dozen chunks; some where chunks end.
  size_t size = random->Below(600000);
  if (random->Chance(30)) size = random->Below(12) * 51200 + random->Below(3);
  if (random->Chance(10)) size = random->Below(4);
  return std::make_shared<const std::string>(random->Bytes(size));
}

// How a transfer ended.
struct End {
  uint32_t result;
  bool complete;  // Said so.
  bool knows_size;
};

End RunTransfer(const std::string& url, const Target& target, RecordingListener* listener,
                bool resume = true) {
  const uint32_t result = Download(url, target, listener, nullptr, resume);
  const auto events = listener->events();
  return {result, std::find(events.begin(), events.end(), "complete 1") != events.end(),
          std::find(events.begin(), events.end(), "info 0") == events.end()};
}

// What must be so after any transfer, however it ended.
void CheckOutcome(Part* part, const End& end, const Target& target, const std::string& content,
                  const std::set<std::string>& lies, bool had_old, bool may_cancel) {
  const std::string got = target.Content();
  if (end.complete) {
    part->FaultIf(end.result != 0, "complete and yet code " + std::to_string(end.result));
    part->FaultIf(target.HasPartial(), "complete and yet a partial file");
    if (got == content) {
      part->Count("whole");
      part->CountBytes("compared", got.size());
    } else if (lies.contains(got)) {
      part->Count("as the server would have it");
    } else {
      part->Fault("complete, with " + std::to_string(got.size()) + " bytes in place of " +
                  std::to_string(content.size()) + " or with other bytes");
    }
    return;
  }
  part->Count("broken off");
  const bool stated =
      std::find(std::begin(kStated), std::end(kStated), end.result) != std::end(kStated) ||
      (may_cancel && (end.result == 0 || end.result == download::kCancelled));
  part->FaultIf(!stated, "ended with code " + std::to_string(end.result));
  part->FaultIf(had_old ? got != kOld : target.Has(), "broken off, and yet there is a new file");
  const std::string partial = target.Partial();
  if (!content.starts_with(partial) && lies.contains(partial)) {
    // An error page that was cancelled at its end. Going on from it, only the digest can tell.
    part->Count("left to the digest");
    return;
  }
  part->FaultIf(!content.starts_with(partial),
                "the partial file of " + std::to_string(partial.size()) + " bytes is another's");
}

// The next attempt, at a good server.
void CheckLaterAttempt(Part* part, const std::string& url, const Target& target,
                       const std::string& content) {
  RecordingListener listener;
  const End end = RunTransfer(url, target, &listener);
  part->FaultIf(end.result != 0 || !end.complete,
                "resumed, and code " + std::to_string(end.result));
  part->FaultIf(target.Content() != content, "resumed, and not the exact file");
  part->FaultIf(target.HasPartial(), "resumed, and still a partial file");
  part->Count("resumed later");
  part->CountBytes("compared", content.size());
}

void RunHttp(Part* part, Random* random) {
  const auto content = RandomContent(random);
  FaultyServer server(content, random->Below(6), random);
  const Target target;
  const bool had_old = random->Chance(40);
  if (had_old) target.Write(kOld);
  if (random->Chance(25)) target.WritePartial(content->substr(0, random->Below(content->size())));
  RecordingListener listener;
  const bool may_cancel = random->Chance(15);
  if (may_cancel) listener.cancel_after = static_cast<uint32_t>(random->Below(content->size()));
  const bool resume = random->Chance(90);
  const End end = RunTransfer(server.Url(), target, &listener, resume);
  part->Count("drops", server.drops());
  CheckOutcome(part, end, target, *content, server.Lies(), had_old, may_cancel);
  if (end.complete || !content->starts_with(target.Partial())) return;

  server.BeGood();
  const size_t kept = target.Partial().size();
  const size_t before = server.requests().size();
  CheckLaterAttempt(part, server.Url(), target, *content);
  const auto range = server.requests().at(before).Range();
  part->FaultIf(range.value_or(0) != kept, "resumed at " + std::to_string(range.value_or(0)) +
                                               " with " + std::to_string(kept) + " bytes there");
}

void RunFtp(Part* part, Random* random) {
  const auto content = RandomContent(random);
  const bool ends_short = random->Chance(30) && !content->empty();
  FtpServer::Script script = {.content = content};
  if (ends_short) script.end_after = random->Below(content->size());
  const FtpServer server(script);
  const Target target;
  const bool had_old = random->Chance(40);
  if (had_old) target.Write(kOld);
  if (random->Chance(25)) target.WritePartial(random->Bytes(random->Below(1000)));
  RecordingListener listener;
  const End end = RunTransfer(server.Url("/file.bin"), target, &listener);
  if (ends_short) part->Count("drops");
  part->Count("over FTP");
  std::set<std::string> lies;
  // Wine's library knows no sizes on FTP: there the end of the connection is that of the file.
  if (ends_short && !end.knows_size) lies.insert(content->substr(0, *script.end_after));
  CheckOutcome(part, end, target, *content, lies, had_old, /*may_cancel=*/false);
  if (end.complete) return;
  const FtpServer good({.content = content});
  CheckLaterAttempt(part, good.Url("/file.bin"), target, *content);
}

}  // namespace

TEST_CASE("downloads with faults") {
  Part part("downloads with faults", 400, /*limit_ms=*/90000);
  part.ForEachRun([&](Random* random) {
    if (random->Chance(15)) {
      RunFtp(&part, random);
    } else {
      RunHttp(&part, random);
    }
  });
}

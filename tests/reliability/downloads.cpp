// Downloads from servers that break off, lie and change their mind, at random places: what is left
// is the exact file or a code that says why not, and a later attempt at a good server completes it.

#include <doctest.h>

#include <winsock2.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>

#include "download/recording_listener.h"
#include "reliability/part.h"
#include "support/download_rig.h"
#include "support/fault_server.h"

using test::FaultServer;
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

size_t RandomSize(Random* random) {
  // Most between nothing and a dozen chunks; some where chunks end.
  if (random->Chance(10)) return random->Below(4);
  return random->Chance(30) ? random->Below(12) * 51200 + random->Below(3) : random->Below(600000);
}

// What goes wrong with one answer. `sent` says that bytes have come before it.
std::string RandomFault(Random* random, size_t size, bool sent) {
  const std::string place = std::to_string(random->Below(size + 1));
  // A byte at least: Wine takes an answer whose head is lost for an empty file.
  const std::string reset = "reset=" + std::to_string(random->Between(1, size + 1));
  // Plain drops are what happens most.
  if (random->Chance(50)) return random->Chance(50) ? "cut=" + place : reset;
  const std::string more = std::to_string(size + 1 + random->Below(1000));
  const std::string status = std::to_string(random->Pick({304, 403, 404, 410, 416, 500, 503}));
  return random->Pick<std::string>(
      {"cut=" + place, reset, "cut=" + place + "&pause=2&piece=" + std::to_string(size / 8 + 1),
       "length=" + more, "whole&cut=" + place, "from=" + place, "total=" + more,
       "length=none&cut=" + place, "range=none", "to=" + place,
       "length=" + std::to_string(random->Between(1, size + 1)), "status=" + status,
       sent ? "drop" : "ok"});
}

std::string RandomSteps(Random* random, size_t size) {
  std::string steps = "size=" + std::to_string(size);
  const size_t faults = random->Below(6);
  bool sent = false;
  for (size_t i = 0; i < faults; ++i) {
    const std::string fault = RandomFault(random, size, sent);
    sent = sent || (i == 0 && fault.starts_with("reset=") && size != 0);
    steps += (i == 0 ? "&" : "&then=") + fault;
  }
  return faults == 0 ? steps : steps + "&then=ok";
}

// What the server's answers came to.
struct Answers {
  // What a client may rightly take for the whole file beside the content: a server that gives no
  // length, a wrong one or an error page for a body cannot be told from one that serves that file.
  std::set<std::string> lies;
  size_t drops = 0;  // Connections that ended before all was sent that had been announced.
};

Answers Judge(const FaultServer& server, const std::string& content) {
  Answers answers;
  for (const std::string& line : server.Log()) {
    std::istringstream words(line);
    std::string method, range, announced;
    int status = 0;
    size_t sent = 0;
    words >> method >> range >> status >> announced >> sent;
    const bool says_length = announced != "none";
    const size_t length = says_length ? std::stoul(announced) : 0;
    if (status == 0 || (says_length && sent < length)) ++answers.drops;
    if (status == 0) answers.lies.insert("");
    if (status == 200) answers.lies.insert(content.substr(0, says_length ? length : sent));
    if (status >= 416) answers.lies.insert("<p>not the file</p>");
  }
  return answers;
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
  const FaultServer server;
  const std::string content = test::ServedContent(RandomSize(random));
  const Target target;
  const bool had_old = random->Chance(40);
  if (had_old) target.Write(kOld);
  if (random->Chance(25)) target.WritePartial(content.substr(0, random->Below(content.size())));
  RecordingListener listener;
  const bool may_cancel = random->Chance(15);
  if (may_cancel) listener.cancel_after = static_cast<uint32_t>(random->Below(content.size()));
  const bool resume = random->Chance(90);
  const End end =
      RunTransfer(server.Url(RandomSteps(random, content.size())), target, &listener, resume);
  const Answers answers = Judge(server, content);
  part->Count("drops", answers.drops);
  CheckOutcome(part, end, target, content, answers.lies, had_old, may_cancel);
  if (end.complete || !content.starts_with(target.Partial())) return;

  const FaultServer good;
  const size_t kept = target.Partial().size();
  CheckLaterAttempt(part, good.Url("size=" + std::to_string(content.size())), target, content);
  const std::string asked = good.Asked();
  const std::string first = asked.substr(0, asked.find(' '));
  part->FaultIf(first != (kept == 0 ? "-" : std::to_string(kept)),
                "resumed at " + first + " with " + std::to_string(kept) + " bytes there");
}

void RunFtp(Part* part, Random* random) {
  const FaultServer server;
  const std::string content = test::ServedContent(RandomSize(random));
  const std::string size = "size=" + std::to_string(content.size());
  const bool ends_short = random->Chance(30) && !content.empty();
  const size_t place = random->Below(content.size());
  const Target target;
  const bool had_old = random->Chance(40);
  if (had_old) target.Write(kOld);
  if (random->Chance(25)) target.WritePartial(random->Bytes(random->Below(1000)));
  RecordingListener listener;
  const std::string cut = ends_short ? "&cut=" + std::to_string(place) : "";
  const End end = RunTransfer(server.FtpUrl(size + cut), target, &listener);
  if (ends_short) part->Count("drops");
  part->Count("over FTP");
  std::set<std::string> lies;
  // Wine's library knows no sizes on FTP: there the end of the connection is that of the file.
  if (ends_short && !end.knows_size) lies.insert(content.substr(0, place));
  CheckOutcome(part, end, target, content, lies, had_old, /*may_cancel=*/false);
  if (!end.complete) CheckLaterAttempt(part, server.FtpUrl(size), target, content);
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

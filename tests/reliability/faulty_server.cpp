#include "reliability/faulty_server.h"

#include <algorithm>

namespace test {
namespace {

const std::string kPage = "<p>this is not the file</p>";

// "Content-Range" for the body from `from` on, of a file of `total` bytes.
std::string RangeHeader(size_t from, size_t to, size_t total) {
  return "Content-Range: bytes " + std::to_string(from) + "-" + std::to_string(to) + "/" +
         std::to_string(total);
}

}  // namespace

FaultyServer::FaultyServer(std::shared_ptr<const std::string> content, size_t faults,
                           Random* random)
    : content_(std::move(content)),
      server_([this](const HttpRequest& request, size_t index) { return Answer(request, index); }) {
  const Lock lock(&section_);
  for (size_t i = 0; i < faults; ++i) {
    // Plain drops are what happens most.
    const auto fault = random->Chance(50)
                           ? random->Pick({Fault::kEnd, Fault::kReset})
                           : static_cast<Fault>(random->Below(static_cast<size_t>(Fault::kCount)));
    steps_.push_back({fault, random->Next(), random->Pick({304, 403, 404, 410, 416, 500, 503})});
  }
}

std::set<std::string> FaultyServer::Lies() const {
  const Lock lock(&section_);
  return lies_;
}

size_t FaultyServer::drops() const {
  const Lock lock(&section_);
  return drops_;
}

void FaultyServer::BeGood() {
  const Lock lock(&section_);
  good_ = true;
}

HttpReply FaultyServer::Answer(const HttpRequest& request, size_t index) {
  const Lock lock(&section_);
  HttpReply reply = good_ || index >= steps_.size() ? ServeRange(request, content_)
                                                    : Spoil(steps_[index], request);
  const size_t whole = reply.body ? reply.body->size() - reply.from : 0;
  const size_t sent = reply.silent ? 0 : std::min(whole, reply.end_after.value_or(whole));
  if (reply.silent || (reply.has_length && sent < reply.length.value_or(whole))) ++drops_;
  sent_something_ = sent_something_ || sent != 0;
  return reply;
}

HttpReply FaultyServer::Spoil(const Step& step, const HttpRequest& request) {
  HttpReply reply = ServeRange(request, content_);
  const size_t size = content_->size();
  const size_t left = reply.body ? reply.body->size() - reply.from : 0;
  const auto somewhere = static_cast<size_t>(step.place % (left + 1));
  const bool is_range = reply.status == 206;
  switch (step.fault) {
    case Fault::kEnd:
      reply.end_after = somewhere;
      break;
    case Fault::kReset:
      // After a byte at least: Wine takes an answer whose head is lost for an empty file.
      reply.end_after = std::max<size_t>(somewhere, 1);
      reply.end = HttpReply::End::kReset;
      break;
    case Fault::kSlow:
      reply.end_after = somewhere;
      reply.piece_bytes = static_cast<size_t>(1 + step.place % 50000);
      reply.piece_bytes = std::max(reply.piece_bytes, left / 8 + 1);
      reply.piece_pause_ms = 2;
      break;
    case Fault::kTooLong:
      reply.length = left + 1 + step.place % 1000;
      break;
    case Fault::kWholeToRange:
      reply = {.body = content_, .end_after = size - somewhere / 2};
      break;
    case Fault::kOtherRange: {
      if (!is_range) break;
      const auto from = static_cast<size_t>(step.place % size);
      if (from == reply.from) break;
      reply.from = from;
      reply.headers = {RangeHeader(from, size - 1, size)};
      break;
    }
    case Fault::kOtherTotal:
      if (is_range) reply.headers = {RangeHeader(reply.from, size, size + 1)};
      break;
    case Fault::kRangeWithoutLength:
      if (!is_range) break;
      reply.has_length = false;
      reply.end_after = somewhere;
      break;
    case Fault::kRangeWithoutPlace:
      if (is_range) reply.headers.clear();
      break;
    case Fault::kShortRange:
      if (!is_range || somewhere == 0 || somewhere == left) break;
      reply.headers = {RangeHeader(reply.from, reply.from + somewhere - 1, size)};
      reply.length = somewhere;
      reply.end_after = somewhere;
      break;
    case Fault::kNoLength:
      if (is_range) break;
      reply.has_length = false;
      reply.end_after = somewhere;
      lies_.insert(content_->substr(0, somewhere));
      break;
    case Fault::kTooShort:
      if (is_range || somewhere == 0) break;
      reply.length = somewhere;
      lies_.insert(content_->substr(0, somewhere));
      break;
    case Fault::kStatus:
      reply = {.status = step.status, .body = Text(kPage)};
      if (step.status >= 416) lies_.insert(kPage);
      break;
    case Fault::kNoAnswer:
      // Only when there are bytes already: for Wine it is an empty file, without its length.
      if (!sent_something_) break;
      reply = {.silent = true};
      lies_.insert("");
      break;
    case Fault::kCount:
      break;
  }
  return reply;
}

}  // namespace test

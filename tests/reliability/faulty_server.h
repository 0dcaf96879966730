#ifndef TESTS_RELIABILITY_FAULTY_SERVER_H_
#define TESTS_RELIABILITY_FAULTY_SERVER_H_

#include <windows.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "reliability/random.h"
#include "support/http_server.h"

namespace test {

// Serves one content over HTTP, with a random fault in each of its first answers; from then on it
// is a good server.
class FaultyServer {
 public:
  // `faults` answers go wrong.
  FaultyServer(std::shared_ptr<const std::string> content, size_t faults, Random* random);

  [[nodiscard]] std::string Url() const { return server_.Url("/files/setup.exe"); }
  // What a client may rightly take for the whole file beside the content: a server that gives no
  // length, a wrong one or an error page for a body cannot be told from one that serves that file.
  [[nodiscard]] std::set<std::string> Lies() const;
  // Connections that ended before all was sent that had been announced.
  [[nodiscard]] size_t drops() const;
  [[nodiscard]] std::vector<HttpRequest> requests() const { return server_.requests(); }
  void BeGood();

 private:
  enum class Fault {
    kEnd,
    kReset,
    kSlow,
    kTooLong,
    kWholeToRange,
    kOtherRange,
    kOtherTotal,
    kRangeWithoutLength,
    kRangeWithoutPlace,
    kShortRange,
    kNoLength,
    kTooShort,
    kStatus,
    kNoAnswer,
    kCount
  };
  struct Step {
    Fault fault;
    uint64_t place;  // Random; what it says depends on the fault.
    int status;
  };

  HttpReply Answer(const HttpRequest& request, size_t index);
  HttpReply Spoil(const Step& step, const HttpRequest& request);

  std::shared_ptr<const std::string> content_;
  std::vector<Step> steps_;
  // What the server's threads and the test share.
  mutable CRITICAL_SECTION section_;
  std::set<std::string> lies_;
  size_t drops_ = 0;
  bool good_ = false;
  bool sent_something_ = false;
  struct Section {
    explicit Section(CRITICAL_SECTION* section) : section_(section) {
      ::InitializeCriticalSection(section);
    }
    ~Section() { ::DeleteCriticalSection(section_); }
    CRITICAL_SECTION* section_;
  } made_{&section_};
  HttpServer server_;  // Last: ends before what its threads use.
};

}  // namespace test

#endif  // TESTS_RELIABILITY_FAULTY_SERVER_H_

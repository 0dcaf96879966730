#ifndef CHECK_PACKAGE_FINDING_KIND_H_
#define CHECK_PACKAGE_FINDING_KIND_H_

namespace check {

enum class Severity { kError, kWarning };

// One sort of mistake. The key stays the same for ever: build scripts name it.
struct FindingKind {
  const wchar_t* key;
  Severity severity;
  const wchar_t* means;   // In a few words.
  const wchar_t* advice;  // What to do. {1}, {2}, ... are those of the text, {p} the package.
};

// One way to say it: {1}, {2}, ... stand for what the check fills in.
struct FindingText {
  const FindingKind* kind;
  const wchar_t* says;
};

}  // namespace check

#endif  // CHECK_PACKAGE_FINDING_KIND_H_

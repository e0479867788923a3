#pragma once

#include <libxml/xmlerror.h>

namespace skylark {

// While alive, libxml2's reports on this thread go nowhere instead of to
// standard error (serialising a node with bad characters, evaluating a
// broken XPath expression). The previous handlers come back afterwards, so
// an application's own libxml2 error handling is left as it was.
class QuietLibxmlErrors {
 public:
  QuietLibxmlErrors()
      : previousHandler_(xmlStructuredError),
        previousContext_(xmlStructuredErrorContext),
        previousGenericHandler_(xmlGenericError),
        previousGenericContext_(xmlGenericErrorContext) {
    xmlSetStructuredErrorFunc(nullptr, &ignore);
    xmlSetGenericErrorFunc(nullptr, &ignoreGeneric);
  }
  ~QuietLibxmlErrors() {
    xmlSetStructuredErrorFunc(previousContext_, previousHandler_);
    xmlSetGenericErrorFunc(previousGenericContext_, previousGenericHandler_);
  }
  QuietLibxmlErrors(const QuietLibxmlErrors&) = delete;
  QuietLibxmlErrors& operator=(const QuietLibxmlErrors&) = delete;

 private:
  static void ignore(void*, xmlErrorPtr) {}
  static void ignoreGeneric(void*, const char*, ...) {}

  xmlStructuredErrorFunc previousHandler_;
  void* previousContext_;
  xmlGenericErrorFunc previousGenericHandler_;
  void* previousGenericContext_;
};

}  // namespace skylark

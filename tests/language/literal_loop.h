#pragma once

// The separation done the plain way: find the first item, take it out, move the rest up,
// begin again. Slow, and simple enough to be believed.

#include <cstdint>
#include <string>

#include "language/channel_language.h"

namespace language_test {

struct PlainForm {
  std::string head;  // empty: there are no such items
  char terminator = 0;
  bool counted = false;

  vlp::ItemForm form() const;
};

// The data without its first item; the same if there is none, or if it ends the work.
std::string WithoutFirstItem(const PlainForm& form, const std::string& data);

// The data without any item.
std::string WithoutItems(const PlainForm& form, std::string data);

struct PlainReply {
  bool good = false;
  std::string bytes;
};

// The reply among received bytes.
PlainReply PlainSeparation(const PlainForm& status, const PlainForm& probe,
                           const std::string& received);

}  // namespace language_test

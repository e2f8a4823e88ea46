// StringConsumer: something that receives strings one by one, such as a
// string array being filled by a loader or a splitter.
#pragma once

namespace zenvary {

class StringBuffer;

class StringConsumer {
public:
    virtual ~StringConsumer() = default;
    // Takes a copy of the text; false when it was refused.
    virtual bool consumeString(const StringBuffer& text) = 0;
};

}  // namespace zenvary

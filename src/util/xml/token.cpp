// The tokenizer: a document in chunks, cut anywhere, into tags, attributes and text.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/own_names.h"
#include "util/xml/context.h"

using vos::XmlPrologue;
using vos::XmlState;

namespace {

enum CharClass : uint8_t { kBlank = 1, kEndsName = 2 };

struct CharTable {
    uint8_t of[256] = {};
    constexpr CharTable() {
        for (const char c : {' ', '\t', '\r', '\n'}) {
            of[static_cast<uint8_t>(c)] = kBlank | kEndsName;
        }
        for (const char c : {'=', '/', '>'}) {
            of[static_cast<uint8_t>(c)] = kEndsName;
        }
    }
};
constexpr CharTable kChars;

bool isBlank(char c) {
    return (kChars.of[static_cast<uint8_t>(c)] & kBlank) != 0;
}

bool endsName(char c) {
    return (kChars.of[static_cast<uint8_t>(c)] & kEndsName) != 0;
}

bool endsEndName(char c) {
    return isBlank(c) || c == '>';
}

// One call's walk over its chunk.
class Walk {
  public:
    Walk(XmlContext *ctx, const char *data, uint32_t len) : ctx_{*ctx}, at_{data}, end_{data + len} {}

    bool run() {
        while (!done_ && at_ < end_) {
            if (ctx_.skipWhiteSpace != 0) {
                at_ = std::find_if_not(at_, end_, isBlank);
                if (at_ == end_) {
                    break;
                }
            }
            step();
        }
        return done_;
    }
    const char *position() const { return at_; }

  private:
    void step() {
        switch (ctx_.state) {
            case XmlState::kFresh:
                return prologue();
            case XmlState::kText:
                return text();
            case XmlState::kTagStart:
                return tagStart();
            case XmlState::kEndName:
                return endName();
            case XmlState::kInTag:
                return inTag();
            case XmlState::kAfterName:
                return afterName();
            case XmlState::kAfterEquals:
                return afterEquals();
            case XmlState::kValue:
                return value();
            case XmlState::kTagClose:
                return tagClose();
        }
    }

    void enter(XmlState state) {
        ctx_.state = state;
        ctx_.skipWhiteSpace = 1;
    }
    uint32_t upTo(const char *end) const { return static_cast<uint32_t>(end - at_); }
    const char *find(char c) const {
        return static_cast<const char *>(memchr(at_, c, static_cast<size_t>(end_ - at_)));
    }

    void prologue() {
        switch (ctx_.prologue) {
            case XmlPrologue::kBlank:
                if (*at_ != '<') {
                    return enter(XmlState::kText);
                }
                ctx_.prologue = XmlPrologue::kLess;
                ctx_.skipWhiteSpace = 0;
                at_++;
                return;
            case XmlPrologue::kLess:
                if (*at_ != '?') {
                    return openTag();
                }
                ctx_.prologue = XmlPrologue::kDeclaration;
                at_++;
                return;
            case XmlPrologue::kDeclaration: {
                const char *mark = find('?');
                at_ = mark == nullptr ? end_ : mark + 1;
                ctx_.prologue = mark == nullptr ? XmlPrologue::kDeclaration : XmlPrologue::kQuestionMark;
                return;
            }
            case XmlPrologue::kQuestionMark:
                if (*at_ != '>') {
                    ctx_.prologue = XmlPrologue::kDeclaration;  // looks at the character again
                    return;
                }
                at_++;
                return enter(XmlState::kText);
        }
    }
    void openTag() {
        enter(XmlState::kTagStart);
        ctx_.nameCached = 0;
        ctx_.tagDepth++;
    }
    void text() {
        const char *less = find('<');
        const bool partial = less == nullptr;
        const char *textEnd = partial ? end_ : less;
        if (textEnd > at_ && ctx_.callbacks.data != nullptr) {
            ctx_.callbacks.data(&ctx_, at_, upTo(textEnd), partial ? 1 : 0);
        } else if (textEnd == at_ && ctx_.skipWhiteSpace == 0 && ctx_.callbacks.data != nullptr) {
            ctx_.callbacks.data(&ctx_, at_, 0, 0);  // the last chunk's text ends here
        }
        at_ = textEnd;
        if (partial) {
            ctx_.skipWhiteSpace = 0;
            return;
        }
        at_++;
        openTag();
    }
    void tagStart() {
        if (ctx_.nameCached == 0 && (*at_ == '/' || *at_ == '>')) {
            enter(*at_ == '/' ? XmlState::kEndName : XmlState::kText);
            at_++;
            return;
        }
        name(endsName, ctx_.callbacks.tagBegin, XmlState::kInTag);
    }
    void endName() {
        if (name(endsEndName, ctx_.callbacks.tagEnd, XmlState::kTagClose)) {
            leaveTag();
        }
    }
    void inTag() {
        if (ctx_.nameCached == 0 && *at_ == '/') {
            if (ctx_.callbacks.tagEnd != nullptr) {
                ctx_.callbacks.tagEnd(&ctx_, ctx_.nameCache, 0);
            }
            at_++;
            return enter(XmlState::kTagClose);
        }
        if (ctx_.nameCached == 0 && *at_ == '>') {
            at_++;
            return enter(XmlState::kText);
        }
        name(endsName, ctx_.callbacks.attrName, XmlState::kAfterName);
    }
    void afterName() {
        if (*at_ != '>' && *at_ != '=') {
            return enter(XmlState::kInTag);  // an attribute without a value
        }
        enter(*at_ == '>' ? XmlState::kText : XmlState::kAfterEquals);
        at_++;
    }
    void afterEquals() {
        at_ += *at_ == '"' ? 1 : 0;
        enter(XmlState::kValue);
    }
    void value() {
        const char *quote = find('"');
        const bool partial = quote == nullptr;
        if (ctx_.callbacks.attrValue != nullptr) {
            ctx_.callbacks.attrValue(&ctx_, at_, upTo(partial ? end_ : quote), partial ? 1 : 0);
        }
        if (partial) {
            at_ = end_;
            ctx_.skipWhiteSpace = 0;
            return;
        }
        at_ = quote + 1;
        enter(XmlState::kInTag);
    }
    void tagClose() {
        const char *greater = find('>');
        at_ = greater == nullptr ? end_ : greater + 1;
        if (greater != nullptr) {
            enter(XmlState::kText);
            leaveTag();
        }
    }
    void leaveTag() {
        ctx_.tagDepth--;
        done_ = ctx_.tagDepth < 1;
    }

    // Takes a name up to the character that ends it and reports it; false when the chunk ends first.
    bool name(bool (*isEnd)(char), void (*report)(XmlContext *, const char *, uint32_t), XmlState next) {
        const char *nameEnd = std::find_if(at_, end_, isEnd);
        const char *start = at_;
        uint32_t length = upTo(nameEnd);
        if (ctx_.nameCached > 0 || nameEnd == end_) {
            const auto room = static_cast<uint32_t>(sizeof ctx_.nameCache) - ctx_.nameCached;
            length = std::min(length, room);
            memcpy(ctx_.nameCache + ctx_.nameCached, start, length);
            ctx_.nameCached += length;
            start = ctx_.nameCache;
            length = ctx_.nameCached;
        }
        at_ = nameEnd;
        if (nameEnd == end_) {
            ctx_.skipWhiteSpace = 0;
            return false;
        }
        enter(next);
        ctx_.nameCached = 0;
        if (report != nullptr) {
            report(&ctx_, start, length);
        }
        return true;
    }

    XmlContext &ctx_;
    const char *at_;
    const char *end_;
    bool done_ = false;
};

}  // namespace

int vos::own::xmlOpen(XmlContext **ctx, const XmlCallbacks *callbacks) {
    if (ctx == nullptr || callbacks == nullptr) {
        return 0;
    }
    *ctx = vos::allocZeroed<XmlContext>().release();
    if (*ctx == nullptr) {
        return 0;
    }
    (*ctx)->callbacks = *callbacks;
    (*ctx)->skipWhiteSpace = 1;
    return 1;
}

int vos::own::xmlWrite(XmlContext *ctx, const char *data, uint32_t len, const char **stop) {
    VOS_DBG_DEBUG(" ---- nxml_write(): len %d", static_cast<int>(len));
    if (data == nullptr || ctx == nullptr) {
        VOS_DBG_ERROR("NULL == data");
        return 0;
    }
    Walk walk{ctx, data, len};
    const bool done = walk.run();
    if (stop != nullptr) {
        *stop = walk.position();
    }
    return done ? 1 : 0;
}

void vos::own::xmlClose(XmlContext *ctx) {
    if (ctx == nullptr) {
        return;
    }
    VOS_FREE(ctx->value.text);
    VOS_FREE(ctx->data.text);
    VOS_FREE(ctx);
}

VOS_OPEN_NAME int xmlOpen(XmlContext **ctx, const XmlCallbacks *callbacks) {
    return vos::own::xmlOpen(ctx, callbacks);
}

VOS_OPEN_NAME int xmlWrite(XmlContext *ctx, const char *data, uint32_t len, const char **stop) {
    return vos::own::xmlWrite(ctx, data, len, stop);
}

VOS_OPEN_NAME void xmlClose(XmlContext *ctx) {
    vos::own::xmlClose(ctx);
}

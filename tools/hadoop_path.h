// Texts of Hadoop URIs as the tool builds them from what the user typed: the
// generic options become URI items before the runtime parses the text.
#pragma once

#include <string>

#include "fs_args.h"

namespace zohtool {

// "scheme://..." with a scheme of RFC 3986 characters.
bool hasScheme(const std::string& text);

// Percent-encodes what can never stand in a URI (spaces, controls, non-ASCII
// bytes, <>"\^`{|}#, and a '%' that does not start an escape), leaving the
// URI syntax characters alone so that typed items and escapes keep working.
std::string escapeUnsafe(const std::string& text);

// Percent-encodes everything but unreserved characters and "/:,": for one
// item name or value, which may hold '=' or '&'.
std::string encodeComponent(const std::string& text);

// The URI text for `typed` with the generic options applied: -conf files as
// resource= items, then -D pairs as key/value items, and -user as the URI's
// user when the text has a scheme and names no user itself. `userApplied`
// tells whether -user went into the text (a plain path cannot carry one).
std::string buildUriText(const std::string& typed, const GenericOptions& options,
                         bool* userApplied);

// What the user typed without its items and with any password in its user
// part masked: the base of printed paths.
std::string withoutItems(const std::string& typed);

// Passwords never reach a text the tool prints: "scheme://user:pw@" shows as
// "scheme://user:***@", and every password remembered here (as typed in a
// URI) is masked wherever else it appears, such as inside an error text.
void rememberSecret(const std::string& secret);
std::string withoutSecrets(std::string text);

// Path arithmetic on '/'-separated paths. parentPath("/a/b") is "/a",
// parentPath("/a") is "/", parentPath("/") is "" (none), parentPath("a") is ".".
std::string parentPath(const std::string& path);
// The last component, ignoring trailing '/'; "/" for the root.
std::string baseName(const std::string& path);
// dir + "/" + name without doubling a separator.
std::string joinPath(const std::string& dir, const std::string& name);

}  // namespace zohtool

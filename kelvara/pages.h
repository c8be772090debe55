// Pages for the browser: one file each, with everything that it needs inside.
#pragma once

#include <string>
#include <string_view>

namespace kelvara {

// The files of kelvara/pages/, as the build found them.
extern const char* const pageStyle;
extern const char* const pageScript;  // what the others stand on
extern const char* const auditScript;
extern const char* const compareScript;

// A page that shows data, JSON text, by pageScript and a script; withoutScript is HTML for browsers that run
// none. No address of any other file is in it, and its policy forbids the browser to load one.
std::string htmlPage(const std::string& title, const char* script, const std::string& data,
                     const std::string& withoutScript);

// Text for the inside of an element or of an attribute in double quotes.
std::string htmlText(std::string_view text);

}  // namespace kelvara

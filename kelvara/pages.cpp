#include "kelvara/pages.h"

namespace kelvara {

std::string htmlText(std::string_view text) {
  std::string html;
  for (const char letter : text) {
    switch (letter) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      default:
        html += letter;
    }
  }
  return html;
}

std::string htmlPage(const std::string& title, const char* script, const std::string& data,
                     const std::string& withoutScript) {
  // In a script element nothing is an entity, and only "<" could end it (HTML, 13.1.2.6); in JSON it stands
  // in texts only.
  std::string safe;
  safe.reserve(data.size());
  for (const char letter : data) {
    if (letter == '<') {
      safe += "\\u003c";
    } else {
      safe += letter;
    }
  }
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; "
         "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n"
         "<meta name=\"color-scheme\" content=\"light dark\">\n<title>" +
         htmlText(title) + "</title>\n<style>\n" + pageStyle +
         "</style>\n</head>\n<body>\n<main id=\"main\"></main>\n" + "<noscript>" + withoutScript +
         "</noscript>\n<script type=\"application/json\" id=\"data\">\n" + safe + "</script>\n<script>\n" +
         pageScript + script + "</script>\n</body>\n</html>\n";
}

}  // namespace kelvara

#include "Html.h"

#include "Visible.h"

namespace kr::zero::tool {

std::string asHtml(std::string_view text) {
  std::string visible;
  appendVisible(visible, text);
  std::string html;
  for (const char c : visible) {
    switch (c) {
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
      case '\'':
        html += "&#39;";
        break;
      default:
        html += c;
    }
  }
  return html;
}

}  // namespace kr::zero::tool

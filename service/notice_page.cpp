#include "service/notice_page.h"

#include "service/text.h"

namespace service {

namespace {

/// A red shield with a white bar, 48 by 48 pixels: a PNG in Base64.
constexpr std::string_view shield =
    "iVBORw0KGgoAAAANSUhEUgAAADAAAAAwCAYAAABXAvmHAAAAcklEQVR42u3awQmAMBBFwZST/ouwLb3YQmAfmQ8WMKeAb9eyYXv2"
    "fid/AAAAAAAAAAAAAAAAdwNODQAAAOASgIfsJGAyIv9/FCADmIjId4J07MjXmnRyyjezdPhL18t0gk135HQMTxf97GlC9sbCVcq/"
    "D6+kRi802zLeAAAAAElFTkSuQmCC";

constexpr std::string_view head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="color-scheme" content="light dark">
<title>Content was removed</title>
<style>
body { margin: 2em auto; max-width: 36em; padding: 0 1em; font: 16px/1.5 "Segoe UI", Arial, sans-serif;
       color: #1b1b1b; background: #ffffff; }
h1 { font-size: 1.4em; line-height: 1.3; }
th { text-align: left; font-weight: 600; padding: 0.2em 1.5em 0.2em 0; vertical-align: top; }
td { padding: 0.2em 0; word-break: break-word; }
@media (prefers-color-scheme: dark) { body { color: #e8e8e8; background: #1e1e1e; } }
</style>
</head>
<body>
<p><img width="48" height="48" alt="" src="data:image/png;base64,)";

constexpr std::string_view middle = R"("></p>
<h1>Harmful content was found and removed</h1>
<p>A security scan found harmful content here. This page stands in its place.</p>
<table>
)";

constexpr std::string_view tail = R"(</table>
<p>If you expected this content, ask its sender or your administrator.</p>
</body>
</html>
)";

void add_row(std::string& page, std::string_view title, std::string_view text)
{
    page.append("<tr><th>").append(title).append("</th><td>").append(html_escaped(text)).append("</td></tr>\n");
}

} // namespace

std::string notice_page(std::string_view threat, std::string_view object_name)
{
    std::string page;
    page.append(head).append(shield).append(middle);
    if (!object_name.empty()) {
        add_row(page, "Name", display_text(object_name));
    }
    add_row(page, "Found", display_text(threat));
    page.append(tail);
    return page;
}

} // namespace service

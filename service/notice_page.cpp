#include "service/notice_page.h"

#include "service/safe_text.h"

namespace service {

namespace {

/// A red shield with a white bar, 96 by 96 pixels with soft edges, displayed at 48 by 48: a PNG in Base64.
constexpr std::string_view shield =
    "iVBORw0KGgoAAAANSUhEUgAAAGAAAABgBAMAAAAQtmoLAAAAKlBMVEXGKCjGKCjGKCjGKCjGKCjGKCjGKCjGKCjGKCjilJTxycn////NQ0P4"
    "5ORQmBOMAAAADnRSTlMAIEBggJ+/3////////yhOe4AAAAHISURBVHja7ZhBS8MwGIbXWueOw4s7VkTccYgDjwNRdhTnsMceZO6ogq5HN9c2"
    "gt4Ff8J+gSve/QmCf8YpXZM0SfPGiyB9j+n3tP2Sj+R7U6n8R63v9QcjstBo0D/Y1EVvHQWEU3y+q4622kMiUdSrK8IDolAsQ7aV4T/ISS58"
    "xSMahS3u9QQQ/Yh9RiDduClQI6DuSqAESqAESuA3wMMs4TR/LgYeP5Oc3t4LgadE0IcIrNGhFxF4pU8vU6BKh2YiMKdP/RRYpUOJRPTpcQo4"
    "KNBZHqHoLy0PUgtNOjve0WnNzt0htnBRBnhYaYQZsI/V3n0GNDFgkgE1s+rmaqNIPm1+MIA2QBYGMG1ZgMTHTIPVRYApAzTNZhWcJp8BHATo"
    "sD2r4SRx5afsQ7m+tWmWM5S1zwG2HnD5XjowWWcoiUkOqJqlACTh5v2DZ7IK32oUA2MBcPBCEnYzmXGSmKaG2R9pdoKWzJd5JnOkWTtf7vzU"
    "xk9uFdVpjxVe1IbLQlOyE6XdtaVZxK7aIG/IgKsC/21J6iOqFzl2Byo7Vjv5+GvdrUBXvWUr0uBKKqzrryks5htTIH6h9jK+h96F2IcXhNye"
    "un9zE/MFsfOK/Zc58hMAAAAASUVORK5CYII=";

constexpr std::string_view head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<meta name="color-scheme" content="light dark">
<title>Content was removed</title>
<style>
body { margin: 0; padding: 2em 1em; font: 16px/1.5 "Segoe UI", "Noto Sans", Arial, sans-serif;
       color: #1b1b1b; background: #f3f4f6; }
div { max-width: 34em; margin: 0 auto; padding: 1.5em 2em; background: #ffffff;
      border: 1px solid #d5d8dd; border-top: 4px solid #c62828; border-radius: 6px; }
h1 { margin: 0.5em 0 0.4em 0; font-size: 1.4em; line-height: 1.3; }
p { margin: 0.6em 0; }
img { display: block; }
table { margin: 1em 0; border-collapse: collapse; }
th { text-align: left; font-weight: 600; padding: 0.2em 1.5em 0.2em 0; vertical-align: top; }
td { padding: 0.2em 0; word-break: break-word; }
@media (prefers-color-scheme: dark) {
  body { color: #e8e8e8; background: #17181a; }
  div { background: #232528; border-color: #3b3e43; border-top-color: #e05252; }
}
</style>
</head>
<body>
<div>
<img width="48" height="48" alt="" src="data:image/png;base64,)";

constexpr std::string_view middle = R"(">
<h1>Harmful content was found and removed</h1>
<p>A security scan found harmful content here. This page stands in its place.</p>
<table>
)";

constexpr std::string_view tail = R"(</table>
<p>If you expected this content, ask its sender or your administrator.</p>
</div>
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

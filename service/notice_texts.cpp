#include "service/notice_texts.h"

#include <string>

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
<html lang="{{language}}">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<meta name="color-scheme" content="light dark">
<title>{{title}}</title>
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

constexpr std::string_view body = R"(">
<h1>{{heading}}</h1>
<p>{{explanation}}</p>
<table>
{{#name}}<tr><th>{{label_name}}</th><td>{{name}}</td></tr>
{{/name}}{{#threat}}<tr><th>{{label_threat}}</th><td>{{threat}}</td></tr>
{{/threat}}{{#reason}}<tr><th>{{label_reason}}</th><td>{{reason}}</td></tr>
{{/reason}}</table>
<p>{{advice}}</p>
</div>
</body>
</html>
)";

/// What happened, and the reason.
struct event_texts
{
    std::string_view heading;
    std::string_view explanation;
};

constexpr notice_texts english{"en",    "Content was removed",
                               {},      {},
                               {},      "If you expected this content, ask its sender or your administrator.",
                               "Name",  "Found",
                               "Reason"};
constexpr notice_texts german{
    "de",   "Inhalt wurde entfernt",
    {},     {},
    {},     "Wenn Sie diesen Inhalt erwartet haben, fragen Sie den Absender oder Ihren Administrator.",
    "Name", "Gefunden",
    "Grund"};

constexpr event_texts found_en{"Harmful content was found and removed",
                               "A security scan found harmful content here. This page stands in its place."};
constexpr event_texts unchecked_en{"Content that could not be checked was removed",
                                   "A security scan could not check this content, so it is not known whether it is "
                                   "harmful. This page stands in its place."};
constexpr event_texts forbidden_en{
    "Content that is not allowed was removed",
    "Content of this kind is not allowed here, whether it is harmful or not. This page stands in its place."};
constexpr event_texts found_de{
    "Schädlicher Inhalt wurde gefunden und entfernt",
    "Eine Sicherheitsprüfung hat hier schädlichen Inhalt gefunden. Diese Seite steht an seiner Stelle."};
constexpr event_texts unchecked_de{"Inhalt, der nicht geprüft werden konnte, wurde entfernt",
                                   "Eine Sicherheitsprüfung konnte diesen Inhalt nicht prüfen. Ob er schädlich ist, "
                                   "ist deshalb nicht bekannt. Diese Seite steht an seiner Stelle."};
constexpr event_texts forbidden_de{
    "Nicht erlaubter Inhalt wurde entfernt",
    "Inhalt dieser Art ist hier nicht erlaubt, ob er schädlich ist oder nicht. Diese Seite steht an seiner Stelle."};

event_texts event_of(bool in_german, cause why)
{
    switch (why) {
    case cause::threat:
        return in_german ? found_de : found_en;
    case cause::forbidden_name:
    case cause::forbidden_type:
        return in_german ? forbidden_de : forbidden_en;
    default:
        return in_german ? unchecked_de : unchecked_en;
    }
}

std::string_view reason_of(bool in_german, cause why)
{
    switch (why) {
    case cause::threat:
        break;
    case cause::not_looked_into:
        return in_german
                   ? "Die Prüfung kann nicht hineinsehen; er kann verschlüsselt, beschädigt oder zu tief verpackt sein."
                   : "The scanner cannot look into it; it may be encrypted, damaged or packed too deeply.";
    case cause::too_large:
        return in_german ? "Er ist größer, als die Prüfung annimmt." : "It is larger than the scanner accepts.";
    case cause::no_engine:
        return in_german ? "Die Prüfung ist zurzeit nicht möglich." : "The scanner is not available at present.";
    case cause::too_late:
        return in_german ? "Die Prüfung hat zu lange gedauert." : "The scan took too long.";
    case cause::forbidden_name:
        return in_german ? "Sein Name ist nicht erlaubt." : "Its name is not allowed.";
    case cause::forbidden_type:
        return in_german ? "Sein Typ ist nicht erlaubt." : "Its type is not allowed.";
    }
    return {};
}

} // namespace

notice_texts texts_of(notice_language language, cause why)
{
    const bool in_german = language == notice_language::german;
    notice_texts texts = in_german ? german : english;
    const event_texts event = event_of(in_german, why);
    texts.heading = event.heading;
    texts.explanation = event.explanation;
    texts.reason = reason_of(in_german, why);
    return texts;
}

std::string_view delivered_notice()
{
    static const std::string page = std::string(head).append(shield).append(body);
    return page;
}

} // namespace service

#include "desk/report/remote_contents.h"

#include <gtest/gtest.h>

#include <string>

namespace host::test {
namespace {

std::string words(std::string_view page)
{
    return remote_contents_of(page).words();
}

TEST(RemoteContents, AreNoneInAPageThatIsComplete)
{
    EXPECT_EQ("", words(""));
    EXPECT_EQ("", words("<p>text</p><img src=\"data:image/png;base64,AA==\"><img src=cid:a@b>"));
    EXPECT_EQ("", words("<a href=http://a.example>a</a><form action=http://a.example><area href=http://a.example>"));
    EXPECT_EQ("", words("http://a.example/src=http://b.example url(#a) url(data:,)"));
}

TEST(RemoteContents, AreImages)
{
    EXPECT_EQ("1 image", words("<IMG SRC='HTTP://a.example/i.png'>"));
    EXPECT_EQ("3 images",
              words("<img src=\"//a.example/i\"><img\nsrc = https://a.example/i><input type=image src=http://a>"));
    EXPECT_EQ("2 images", words("<img srcset=\"http://a.example/1 1x, data:,x 2x, http://a.example/3 3x\">"));
    EXPECT_EQ("2 images", words("<table background=http://a.example/b><video poster=http://a.example/p>"));
    EXPECT_EQ("2 images", words("<svg><image xlink:href=http://a.example/i /><use href=http://a.example/u></svg>"));
    EXPECT_EQ(
        "2 images",
        words("<p style=\"background:url(&quot;http://a.example&quot;)\"><style>b{background:URL( 'http://a' )}"));
}

TEST(RemoteContents, AreStyleSheetsAndFonts)
{
    EXPECT_EQ("1 style sheet", words("<link rel=stylesheet href=http://a.example/s.css>"));
    EXPECT_EQ("2 style sheets",
              words("<style>@import \"http://a.example/1\"; @import url(http://a.example/2);</style>"));
    EXPECT_EQ("1 font", words("<style>@font-face{font-family:a;src: url(http://a.example/f.woff)}</style>"));
    EXPECT_EQ("1 image, 1 font",
              words("<style>@font-face{src:url(//a.example/f)}b{background:url(//a.example/i)}</style>"));
}

TEST(RemoteContents, AreNotInComments)
{
    EXPECT_EQ("2 images", words("<!-- don't --><img src=http://a.example/i><p>it's<img src=http://b.example/i>"));
    EXPECT_EQ("", words("<!--[if mso]><img src=http://a.example/i><![endif]--><p>a"));
    EXPECT_EQ("1 image", words("<!--[if !mso]><!--><img src=http://a.example/i><!--<![endif]-->"));
    EXPECT_EQ("1 image", words("<!--><img src=http://a.example/i>-->"));
    EXPECT_EQ("", words("<!--<img src=http://a.example/i>"));
}

TEST(RemoteContents, AreNotInPlainText)
{
    EXPECT_EQ("1 image", words("<style><!-- b{color:red} </style><img src=http://a.example/i>"));
    EXPECT_EQ("1 image", words("<style><!-- b{background:url(http://a.example/i)} --></style>"));
    EXPECT_EQ("",
              words("<title><img src=http://a.example/i></title><TEXTAREA><img src=http://a.example/i></TEXTAREA>"));
    EXPECT_EQ("", words("<p>url(http://a.example/i) @import url(http://a.example/s)"));
    EXPECT_EQ("1 other content", words("<script src=http://a.example/s>'<img src=http://a.example/i>'</script>"));
}

TEST(RemoteContents, AreOthers)
{
    EXPECT_EQ("1 other content", words("<script src=http://a.example/s.js></script>"));
    EXPECT_EQ("3 other contents", words("<iframe src=http://a.example></iframe><link rel=preconnect href=//a.example>"
                                        "<object data=http://a.example>"));
}

TEST(RemoteContents, AddUp)
{
    remote_contents all = remote_contents_of("<img src=http://a.example>");
    all += remote_contents_of("<img src=http://a.example><script src=http://a.example>");
    EXPECT_EQ("2 images, 1 other content", all.words());
    EXPECT_EQ(3U, all.total());
}

TEST(RemoteContents, AreCountedInPagesWithoutAnEnd)
{
    for (const char* page :
         {"<", "<img", "<img src", "<img src=", "<img src=\"", "<!--", "url(", "@import", "<a <a <a"}) {
        EXPECT_EQ("", words(page)) << page;
    }
}

} // namespace
} // namespace host::test

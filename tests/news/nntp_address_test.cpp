#include "news/nntp_address.h"

#include <gtest/gtest.h>

namespace {

struct AddressCase {
    const char* text;
    const char* host;
    quint16 port;
    bool tls;
};

TEST(NntpAddress, AcceptedFormsGiveHostPortAndTls) {
    const AddressCase cases[] = {
        {"news.example.com", "news.example.com", 119, false},
        {"  news.example.com  ", "news.example.com", 119, false},
        {"news.example.com:8119", "news.example.com", 8119, false},
        {"news.example.com:563", "news.example.com", 563, true},
        {"nntps://news.example.com", "news.example.com", 563, true},
        {"NNTPS://news.example.com:8563/", "news.example.com", 8563, true},
        {"nntp://news.example.com", "news.example.com", 119, false},
        {"nntp://news.example.com:563", "news.example.com", 563, true},
        {"127.0.0.1:1119", "127.0.0.1", 1119, false},
        {"[::1]:563", "::1", 563, true},
        {"[::1]", "::1", 119, false},
        {"::1", "::1", 119, false},
    };
    for (const AddressCase& c : cases) {
        SCOPED_TRACE(c.text);
        const NntpAddress a = parseNntpAddress(QString::fromLatin1(c.text));
        EXPECT_TRUE(a.valid);
        EXPECT_EQ(a.host, QString::fromLatin1(c.host));
        EXPECT_EQ(a.port, c.port);
        EXPECT_EQ(a.tls, c.tls);
    }
}

TEST(NntpAddress, MalformedAddressesAreRejected) {
    const char* const cases[] = {
        "",         "   ",       "news:",        "news:0",        "news:70000",
        "news:abc", "news:119x", "http://news",  "bad host name", "[::1",
        "[::1]x",   "nntps://",  "nntps://:563", "user@news",
    };
    for (const char* text : cases) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(parseNntpAddress(QString::fromLatin1(text)).valid);
    }
}

} // namespace

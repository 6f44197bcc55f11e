#include "news/nntp_address.h"

#include <gtest/gtest.h>

namespace {

TEST(NntpAddress, AcceptedFormsGiveHostPortAndTlsAndMalformedOnesAreRejected) {
    const std::tuple<const char*, const char*, quint16, bool> accepted[] = {
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
    for (const auto& [text, host, port, tls] : accepted) {
        const NntpAddress a = parseNntpAddress(QString::fromLatin1(text));
        EXPECT_TRUE(a.valid) << text;
        EXPECT_EQ(a.host, QString::fromLatin1(host)) << text;
        EXPECT_EQ(a.port, port) << text;
        EXPECT_EQ(a.tls, tls) << text;
    }
    for (const char* text :
         {"", "   ", "news:", "news:0", "news:70000", "news:abc", "news:119x", "http://news",
          "bad host name", "[::1", "[::1]x", "nntps://", "nntps://:563", "user@news"})
        EXPECT_FALSE(parseNntpAddress(QString::fromLatin1(text)).valid) << text;
}

} // namespace

#include "HXHTTPDigestAuth.h"

#include <QCryptographicHash>

#include <gtest/gtest.h>

// The worked examples of RFC 7616 (MD5 and SHA-256) and RFC 2617, and the
// older form without qop computed from the same inputs.

TEST(HXHTTPDigestAuth, PublishedExamples)
{
    const QString rfc7616 =
        QStringLiteral("Digest realm=\"http-auth@example.org\", qop=\"auth, auth-int\", algorithm=%1, "
                       "nonce=\"7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v\", "
                       "opaque=\"FQhe/qaU925kfnzjCev0ciny7QMkPqMAFRtzCUYo5tdS\"");
    const QString rfc2617 =
        QStringLiteral("Digest realm=\"testrealm@host.com\", %1nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", "
                       "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"");
    const struct
    {
        const char *name;
        QString challenge;
        const char *password;
        const char *cnonce;
        const char *expected;
    } cases[] = {
        {"RFC 7616 MD5", rfc7616.arg(QStringLiteral("MD5")), "Circle of Life",
         "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ",
         "Digest username=\"Mufasa\", realm=\"http-auth@example.org\", uri=\"/dir/index.html\", algorithm=MD5, "
         "nonce=\"7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v\", nc=00000001, "
         "cnonce=\"f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ\", qop=auth, "
         "response=\"8ca523f5e9506fed4657c9700eebdbec\", opaque=\"FQhe/qaU925kfnzjCev0ciny7QMkPqMAFRtzCUYo5tdS\""},
        {"RFC 7616 SHA-256", rfc7616.arg(QStringLiteral("SHA-256")), "Circle of Life",
         "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ",
         "Digest username=\"Mufasa\", realm=\"http-auth@example.org\", uri=\"/dir/index.html\", algorithm=SHA-256, "
         "nonce=\"7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v\", nc=00000001, "
         "cnonce=\"f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ\", qop=auth, "
         "response=\"753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1\", "
         "opaque=\"FQhe/qaU925kfnzjCev0ciny7QMkPqMAFRtzCUYo5tdS\""},
        {"RFC 2617", rfc2617.arg(QStringLiteral("qop=\"auth,auth-int\", ")), "Circle Of Life", "0a4f113b",
         "Digest username=\"Mufasa\", realm=\"testrealm@host.com\", uri=\"/dir/index.html\", "
         "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", nc=00000001, cnonce=\"0a4f113b\", qop=auth, "
         "response=\"6629fae49393a05397450978507c4ef1\", opaque=\"5ccc069c403ebaf9f0171e9517f40e41\""},
        {"no qop", rfc2617.arg(QString()), "Circle Of Life", "unused",
         "Digest username=\"Mufasa\", realm=\"testrealm@host.com\", uri=\"/dir/index.html\", "
         "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", response=\"670fd8c2df070c60b045671b8b24ff02\", "
         "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const std::optional<HXHTTPDigestAuth::Challenge> challenge = HXHTTPDigestAuth::digestChallenge(c.challenge);
        ASSERT_TRUE(challenge);
        EXPECT_EQ(HXHTTPDigestAuth::authorizationHeader(*challenge, QStringLiteral("Mufasa"),
                                                        QString::fromUtf8(c.password), QStringLiteral("GET"),
                                                        QStringLiteral("/dir/index.html"), QString::fromUtf8(c.cnonce)),
                  QString::fromUtf8(c.expected));
    }
}

TEST(HXHTTPDigestAuth, ChoosingTheChallenge)
{
    const struct
    {
        const char *header;
        const char *nonce; // empty: no challenge is answered
        const char *algorithm;
    } cases[] = {
        // Other schemes before and after, as joined from repeated headers.
        {"Basic realm=\"a\", Digest realm=\"b\", nonce=\"n1\", Bearer", "n1", ""},
        {"Negotiate abc==, Digest nonce=n2, algorithm=SHA-256", "n2", "SHA-256"},
        // An algorithm not answered here is passed over for the next one.
        {"Digest nonce=\"x\", algorithm=SHA-512-256, Digest nonce=\"y\", algorithm=MD5-sess", "y", "MD5-sess"},
        // Escapes inside quoted strings.
        {"digest realm=\"say \\\"hi\\\"\", nonce=\"a\\\\b\"", "a\\b", ""},
        // A challenge without a nonce, or with a line break in a value.
        {"Digest realm=\"r\"", "", ""},
        {"Digest realm=\"r\r\nX-Injected: 1\", nonce=\"n\"", "", ""},
        {"Basic realm=\"only\"", "", ""},
        {"", "", ""},
        {"Digest realm=\"unterminated, nonce=", "", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.header);
        const auto challenge = HXHTTPDigestAuth::digestChallenge(QString::fromUtf8(c.header));
        if (*c.nonce == 0) {
            EXPECT_FALSE(challenge);
            continue;
        }
        ASSERT_TRUE(challenge);
        EXPECT_EQ(challenge->nonce, QString::fromUtf8(c.nonce));
        EXPECT_EQ(challenge->algorithm, QString::fromUtf8(c.algorithm));
    }

    // The session variant, auth-int over the body, userhash and quoting of
    // the username, each checked against its defining formula.
    HXHTTPDigestAuth::Challenge challenge;
    challenge.realm = QStringLiteral("r");
    challenge.nonce = QStringLiteral("n");
    challenge.algorithm = QStringLiteral("MD5-sess");
    challenge.qop = {QStringLiteral("auth-int")};
    challenge.userhash = true;
    const auto md5 = [](const QString &text) {
        return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toHex());
    };
    const QString header = HXHTTPDigestAuth::authorizationHeader(challenge, QStringLiteral("a\"b"), QStringLiteral("p"),
                                                                 QStringLiteral("POST"), QStringLiteral("/x"),
                                                                 QStringLiteral("c"), "body", 2);
    const QString ha1 = md5(md5(QStringLiteral("a\"b:r:p")) + QStringLiteral(":n:c"));
    const QString ha2 = md5(QStringLiteral("POST:/x:") + md5(QStringLiteral("body")));
    EXPECT_TRUE(header.contains(
        QStringLiteral("response=\"%1\"").arg(md5(ha1 + QStringLiteral(":n:00000002:c:auth-int:") + ha2))))
        << header.toStdString();
    EXPECT_TRUE(header.startsWith(QStringLiteral("Digest username=\"%1\"").arg(md5(QStringLiteral("a\"b:r")))));
    EXPECT_TRUE(header.endsWith(QStringLiteral(", userhash=true")));
    challenge.userhash = false;
    EXPECT_TRUE(HXHTTPDigestAuth::authorizationHeader(challenge, QStringLiteral("a\"b\\"), QString(),
                                                      QStringLiteral("GET"), QStringLiteral("/"), QStringLiteral("c"))
                    .startsWith(QStringLiteral("Digest username=\"a\\\"b\\\\\"")));
}

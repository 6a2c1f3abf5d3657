// kea-cli send and fetch over HTTPS against a loopback server whose chain is
// issued by a CA made for the test and trusted through KEA_CA_FILES: a valid
// chain is sent without a question, an unknown one still gets it.

#include "HXCLITestRunner.h"
#include "HXTestCertificates.h"
#include "HXTestHTTPServer.h"
#include "HXTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QByteArray okResponse = "HTTP/1.1 200 OK\r\nContent-Length: 7\r\nConnection: close\r\n\r\ntrusted";

class CLITLSTrustTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const HXTestCertificate authority = HXTestCertificates::certificateAuthority(QStringLiteral("Kea test CA"));
        const HXTestCertificate leaf = HXTestCertificates::signedBy(authority, QStringLiteral("localhost"));
        ASSERT_FALSE(leaf.isNull());
        caFile = folder.filePath(QStringLiteral("ca.pem"));
        ASSERT_TRUE(HXTest::writeFile(caFile, authority.certificatePEM));
        server = std::make_unique<HXTestHTTPServer>(
            HXTestHTTPServer::TLSIdentity{leaf.certificate(), leaf.privateKey(), {}});
        ASSERT_TRUE(server->listen());
        server->setDefaultScript(HXTestHTTPScript::respond(okResponse));
        document = folder.filePath(QStringLiteral("secure.kea"));
        ASSERT_EQ(run({QStringLiteral("new"), document}, false).status, 0);
        ASSERT_EQ(run({QStringLiteral("add"), document, QStringLiteral("--name"), QStringLiteral("Secure"),
                       QStringLiteral("--url"), server->url(QStringLiteral("/secure")).toString()},
                      false)
                      .status,
                  0);
    }

    HXCLIRun run(const QStringList &arguments, bool trustCA)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_DATA_HOME"), folder.filePath(QStringLiteral("data")));
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), folder.filePath(QStringLiteral("config")));
        if (trustCA)
            environment.insert(QStringLiteral("KEA_CA_FILES"), caFile);
        else
            environment.remove(QStringLiteral("KEA_CA_FILES"));
        return HXRunCLI(arguments, QByteArray(), environment);
    }

    QTemporaryDir folder;
    QString caFile;
    QString document;
    std::unique_ptr<HXTestHTTPServer> server;
};

TEST_F(CLITLSTrustTest, AChainTheTrustedCAsVouchForIsSentWithoutAQuestion)
{
    const HXCLIRun sent = run({QStringLiteral("send"), document, QStringLiteral("Secure")}, true);
    EXPECT_EQ(sent.status, 0) << sent.err.constData();
    EXPECT_FALSE(sent.err.contains("can't verify")) << sent.err.constData();
    EXPECT_TRUE(sent.out.contains("trusted")) << sent.out.constData();

    const HXCLIRun fetched = run({QStringLiteral("fetch"), server->url(QStringLiteral("/f")).toString()}, true);
    EXPECT_EQ(fetched.status, 0) << fetched.err.constData();
    EXPECT_TRUE(fetched.out.contains("trusted")) << fetched.out.constData();
}

TEST_F(CLITLSTrustTest, AnUnknownIssuerStillGetsTheQuestion)
{
    const HXCLIRun sent = run({QStringLiteral("send"), document, QStringLiteral("Secure")}, false);
    EXPECT_TRUE(sent.err.contains("can't verify the identity")) << sent.err.constData();
    EXPECT_FALSE(sent.out.contains("trusted")) << sent.out.constData();
}

} // namespace

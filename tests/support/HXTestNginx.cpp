#include "HXTestNginx.h"

#include "HXTestSupport.h"

#include <QStandardPaths>

HXTestNginx::HXTestNginx() = default;

HXTestNginx::~HXTestNginx()
{
    HXTest::stopProcess(m_process.get());
}

QString HXTestNginx::executablePath()
{
    return QStandardPaths::findExecutable(QStringLiteral("nginx"),
                                          {QStringLiteral("/usr/sbin"), QStringLiteral("/usr/bin")});
}

bool HXTestNginx::start(const QByteArray &body, QString *error)
{
    const QString program = executablePath();
    if (program.isEmpty()) {
        *error = QStringLiteral("nginx is not installed");
        return false;
    }
    m_port = HXTest::freeLoopbackPort();
    if (m_port == 0) {
        *error = QStringLiteral("no free port");
        return false;
    }
    const HXTestCertificate identity = HXTestCertificates::selfSigned(QStringLiteral("Kea nginx"));
    const QString folder = m_folder.path();
    if (!HXTest::writeFile(folder + QStringLiteral("/cert.pem"), identity.certificatePEM) ||
        !HXTest::writeFile(folder + QStringLiteral("/key.pem"), identity.privateKeyPEM)) {
        *error = QStringLiteral("cannot write the certificate");
        return false;
    }
    QByteArray quoted = body;
    quoted.replace('\\', "\\\\").replace('"', "\\\"");
    const QByteArray config = "daemon off;\nmaster_process off;\npid nginx.pid;\nerror_log error.log;\n"
                              "events { worker_connections 64; }\n"
                              "http {\n  access_log off;\n  client_body_temp_path body;\n"
                              "  proxy_temp_path proxy;\n  fastcgi_temp_path fastcgi;\n  uwsgi_temp_path uwsgi;\n"
                              "  scgi_temp_path scgi;\n  server {\n    listen 127.0.0.1:" +
                              QByteArray::number(m_port) +
                              " ssl http2;\n    ssl_certificate cert.pem;\n    ssl_certificate_key key.pem;\n"
                              "    location / { default_type text/plain; return 200 \"" +
                              quoted + "\"; }\n  }\n}\n";
    if (!HXTest::writeFile(folder + QStringLiteral("/nginx.conf"), config)) {
        *error = QStringLiteral("cannot write the nginx configuration");
        return false;
    }
    m_process = std::make_unique<QProcess>();
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    m_process->start(program, {QStringLiteral("-p"), folder + u'/', QStringLiteral("-c"), QStringLiteral("nginx.conf"),
                               QStringLiteral("-e"), QStringLiteral("error.log")});
    if (!m_process->waitForStarted(3000)) {
        *error = QStringLiteral("nginx did not start: ") + m_process->errorString();
        return false;
    }
    if (HXTest::waitUntilAccepting(*m_process, m_port))
        return true;
    *error = QStringLiteral("nginx did not accept connections: ") + QString::fromUtf8(m_process->readAll()) +
             QString::fromUtf8(HXTest::readFile(folder + QStringLiteral("/error.log")));
    return false;
}

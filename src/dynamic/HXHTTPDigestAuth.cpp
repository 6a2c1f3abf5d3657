#include "HXHTTPDigestAuth.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

#include <algorithm>

namespace {

bool isTokenCharacter(QChar c)
{
    static const QString separators = QStringLiteral("()<>@,;:\\\"/[]?={} \t");
    return c.unicode() > 0x20 && c.unicode() < 0x7F && !separators.contains(c);
}

bool isBlank(QChar c)
{
    return c == u' ' || c == u'\t';
}

// What a challenge's algorithm names, or none for one not answered here.
std::optional<QCryptographicHash::Algorithm> hashAlgorithm(const QString &algorithm, bool *session)
{
    QString name = algorithm.toUpper();
    *session = name.endsWith(QLatin1String("-SESS"));
    if (*session)
        name.chop(5);
    if (name.isEmpty() || name == u"MD5")
        return QCryptographicHash::Md5;
    if (name == u"SHA-256")
        return QCryptographicHash::Sha256;
    return std::nullopt;
}

QString quoted(const QString &value)
{
    QString escaped = value;
    escaped.replace(u'\\', QLatin1String("\\\\")).replace(u'"', QLatin1String("\\\""));
    return u'"' + escaped + u'"';
}

} // namespace

QList<std::pair<QString, HXHTTPDigestAuth::Parameters>> HXHTTPDigestAuth::parseChallenges(const QString &headerValue)
{
    QList<std::pair<QString, Parameters>> challenges;
    const QString &text = headerValue;
    qsizetype i = 0;
    const auto skip = [&](bool commas) {
        while (i < text.size() && (isBlank(text.at(i)) || (commas && text.at(i) == u',')))
            ++i;
    };
    const auto token = [&] {
        const qsizetype start = i;
        while (i < text.size() && isTokenCharacter(text.at(i)))
            ++i;
        return text.mid(start, i - start);
    };
    while (true) {
        skip(true);
        if (i >= text.size())
            break;
        const QString name = token();
        if (name.isEmpty()) {
            ++i; // a stray character: step over it
            continue;
        }
        skip(false);
        if (i >= text.size() || text.at(i) != u'=') {
            challenges.append({name, {}});
            continue;
        }
        ++i;
        skip(false);
        QString value;
        if (i < text.size() && text.at(i) == u'"') {
            for (++i; i < text.size() && text.at(i) != u'"'; ++i) {
                if (text.at(i) == u'\\' && i + 1 < text.size())
                    ++i;
                value += text.at(i);
            }
            ++i; // the closing quote
        } else {
            value = token();
            // token68 padding ("abc==") belongs to the value, not a parameter.
            while (i < text.size() && text.at(i) == u'=')
                value += text.at(i++);
        }
        if (!challenges.isEmpty())
            challenges.last().second.append({name.toLower(), value});
    }
    return challenges;
}

std::optional<HXHTTPDigestAuth::Challenge> HXHTTPDigestAuth::digestChallenge(const QString &headerValue)
{
    for (const auto &[scheme, parameters] : parseChallenges(headerValue)) {
        if (scheme.compare(u"Digest", Qt::CaseInsensitive) != 0)
            continue;
        Challenge challenge;
        for (const auto &[name, value] : parameters) {
            if (name == u"realm")
                challenge.realm = value;
            else if (name == u"nonce")
                challenge.nonce = value;
            else if (name == u"opaque")
                challenge.opaque = value;
            else if (name == u"algorithm")
                challenge.algorithm = value;
            else if (name == u"userhash")
                challenge.userhash = value.compare(u"true", Qt::CaseInsensitive) == 0;
            else if (name == u"qop") {
                for (const QString &option : value.split(u',', Qt::SkipEmptyParts))
                    challenge.qop.append(option.trimmed().toLower());
            }
        }
        // Nothing from the server reaches the request with a control character.
        const bool clean = std::all_of(parameters.cbegin(), parameters.cend(), [](const auto &parameter) {
            return std::none_of(parameter.second.cbegin(), parameter.second.cend(),
                                [](QChar c) { return c.unicode() < 0x20 || c.unicode() == 0x7F; });
        });
        bool session = false;
        if (clean && !challenge.nonce.isEmpty() && hashAlgorithm(challenge.algorithm, &session))
            return challenge;
    }
    return std::nullopt;
}

QString HXHTTPDigestAuth::authorizationHeader(const Challenge &challenge, const QString &username,
                                              const QString &password, const QString &method, const QString &uri,
                                              const QString &cnonce, const QByteArray &body, int nonceCount)
{
    bool session = false;
    const QCryptographicHash::Algorithm algorithm =
        hashAlgorithm(challenge.algorithm, &session).value_or(QCryptographicHash::Md5);
    const auto H = [algorithm](const QString &text) {
        return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), algorithm).toHex());
    };

    QString qop;
    if (challenge.qop.contains(u"auth"))
        qop = QStringLiteral("auth");
    else if (challenge.qop.contains(u"auth-int"))
        qop = QStringLiteral("auth-int");
    const QString nc = QStringLiteral("%1").arg(nonceCount, 8, 16, QLatin1Char('0'));

    QString ha1 = H(username + u':' + challenge.realm + u':' + password);
    if (session)
        ha1 = H(ha1 + u':' + challenge.nonce + u':' + cnonce);
    QString a2 = method + u':' + uri;
    if (qop == u"auth-int")
        a2 += u':' + QString::fromLatin1(QCryptographicHash::hash(body, algorithm).toHex());
    const QString ha2 = H(a2);
    const QString response =
        qop.isEmpty() ? H(ha1 + u':' + challenge.nonce + u':' + ha2)
                      : H(ha1 + u':' + challenge.nonce + u':' + nc + u':' + cnonce + u':' + qop + u':' + ha2);

    QString header = QStringLiteral("Digest username=") +
                     quoted(challenge.userhash ? H(username + u':' + challenge.realm) : username) +
                     QStringLiteral(", realm=") + quoted(challenge.realm) + QStringLiteral(", uri=") + quoted(uri);
    if (!challenge.algorithm.isEmpty())
        header += QStringLiteral(", algorithm=") + challenge.algorithm;
    header += QStringLiteral(", nonce=") + quoted(challenge.nonce);
    if (!qop.isEmpty())
        header += QStringLiteral(", nc=") + nc + QStringLiteral(", cnonce=") + quoted(cnonce) +
                  QStringLiteral(", qop=") + qop;
    header += QStringLiteral(", response=") + quoted(response);
    if (!challenge.opaque.isEmpty())
        header += QStringLiteral(", opaque=") + quoted(challenge.opaque);
    if (challenge.userhash)
        header += QStringLiteral(", userhash=true");
    return header;
}

QString HXHTTPDigestAuth::makeClientNonce()
{
    QByteArray bytes(16, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    return QString::fromLatin1(bytes.toHex());
}

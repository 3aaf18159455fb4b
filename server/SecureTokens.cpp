// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/SecureTokens.h"

#include <QCryptographicHash>
#include <QList>
#include <QRandomGenerator>
#include <cstring>

namespace SecureTokens {
namespace {

QString base64Url(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

bool allOf(const QString &text, const char *extra)
{
    return std::all_of(text.begin(), text.end(), [extra](QChar c) {
        const char16_t u = c.unicode();
        return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9')
            || (u < 128 && std::strchr(extra, static_cast<char>(u)) && u != 0);
    });
}

} // namespace

QString randomUrlSafe(int bytes)
{
    QList<quint32> words((bytes + 3) / 4);
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    return base64Url(QByteArray(reinterpret_cast<const char *>(words.constData()), bytes));
}

QString hashForStorage(const QString &secret)
{
    return QString::fromLatin1(QCryptographicHash::hash(secret.toUtf8(), QCryptographicHash::Sha256).toHex());
}

QString pkceChallenge(const QString &verifier)
{
    return base64Url(QCryptographicHash::hash(verifier.toUtf8(), QCryptographicHash::Sha256));
}

bool isValidVerifier(const QString &verifier)
{
    return verifier.size() >= 43 && verifier.size() <= 128 && allOf(verifier, "-._~");
}

bool isValidChallenge(const QString &challenge)
{
    return challenge.size() == 43 && allOf(challenge, "-_");
}

bool constantTimeEquals(const QByteArray &a, const QByteArray &b)
{
    if (a.size() != b.size())
        return false;
    unsigned char diff = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

} // namespace SecureTokens

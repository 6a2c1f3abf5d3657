#pragma once

// Published test vectors for the digests and HMACs: RFC 1319 (MD2), RFC 1320
// (MD4), RFC 1321 (MD5), FIPS 180 (SHA family), RFC 2202 (HMAC-MD5,
// HMAC-SHA1) and RFC 4231 (HMAC-SHA224 to HMAC-SHA512), run through the
// digest and HMAC values.

#include <QByteArray>

#include <vector>

namespace HXDigestTestVectors {

struct DigestVector
{
    unsigned hashType; // the digest value's numbering: 0 MD2 ... 7 SHA512
    QByteArray message;
    const char *hex; // lower-case, as published
};

struct HMACVector
{
    unsigned algorithm; // the HMAC value's numbering: 0 MD5, 1 SHA1, 2 SHA224, 3 SHA256, 4 SHA384, 5 SHA512
    QByteArray key;
    QByteArray message;
    const char *hex; // lower-case, as published
};

inline QByteArray repeated(char byte, int count)
{
    return QByteArray(count, byte);
}

inline QByteArray bytesFrom1To25()
{
    QByteArray bytes;
    for (int i = 1; i <= 25; ++i)
        bytes.append(char(i));
    return bytes;
}

inline const std::vector<DigestVector> &digestVectors()
{
    static const QByteArray alphabet = QByteArrayLiteral("abcdefghijklmnopqrstuvwxyz");
    static const QByteArray alphanumeric =
        QByteArrayLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789");
    static const QByteArray digits80 = QByteArrayLiteral("1234567890").repeated(8);
    static const QByteArray fips448 = QByteArrayLiteral("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq");
    static const QByteArray fips896 = QByteArrayLiteral("abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmn"
                                                        "hijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu");
    static const std::vector<DigestVector> vectors = {
        {0, "", "8350e5a3e24c153df2275c9f80692773"},
        {0, "a", "32ec01ec4a6dac72c0ab96fb34c0b5d1"},
        {0, "abc", "da853b0d3f88d99b30283a69e6ded6bb"},
        {0, "message digest", "ab4f496bfb2a530b219ff33031fe06b0"},
        {0, alphabet, "4e8ddff3650292ab5a4108c3aa47940b"},
        {0, alphanumeric, "da33def2a42df13975352846c30338cd"},
        {0, digits80, "d5976f79d83d3a0dc9806c3c66f3efd8"},
        {1, "", "31d6cfe0d16ae931b73c59d7e0c089c0"},
        {1, "a", "bde52cb31de33e46245e05fbdbd6fb24"},
        {1, "abc", "a448017aaf21d8525fc10ae87aa6729d"},
        {1, "message digest", "d9130a8164549fe818874806e1c7014b"},
        {1, alphabet, "d79e1c308aa5bbcdeea8ed63df412da9"},
        {1, alphanumeric, "043f8582f241db351ce627e153e7f0e4"},
        {1, digits80, "e33b4ddc9c38f2199c3e7b164fcc0536"},
        {2, "", "d41d8cd98f00b204e9800998ecf8427e"},
        {2, "a", "0cc175b9c0f1b6a831c399e269772661"},
        {2, "abc", "900150983cd24fb0d6963f7d28e17f72"},
        {2, "message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {2, alphabet, "c3fcd3d76192e4007dfb496cca67e13b"},
        {2, alphanumeric, "d174ab98d277d9f5a5611c2c9f419d9f"},
        {2, digits80, "57edf4a22be3c955ac49da2e2107b67a"},
        {3, "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {3, fips448, "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        {3, "", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {4, "abc", "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7"},
        {4, fips448, "75388b16512776cc5dba5da1fd890150b0c6455cb4f58b1952522525"},
        {5, "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {5, fips448, "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {6, "abc", "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7"},
        {6, fips896,
         "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712fcc7c71a557e2db966c3e9fa91746039"},
        {7, "abc",
         "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd454d4423"
         "643ce80e2a9ac94fa54ca49f"},
        {7, fips896,
         "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018501d289e4900f7e4331b99dec4b5433ac7d329ee"
         "b6dd26545e96e55b874be909"},
    };
    return vectors;
}

inline const std::vector<HMACVector> &hmacVectors()
{
    static const QByteArray largerKeyText = QByteArrayLiteral("Test Using Larger Than Block-Size Key - Hash Key First");
    static const QByteArray largerKeyAndDataText =
        QByteArrayLiteral("Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data");
    static const QByteArray rfc4231Case7 =
        QByteArrayLiteral("This is a test using a larger than block-size key and a larger than block-size data. The "
                          "key needs to be hashed before being used by the HMAC algorithm.");
    static const std::vector<HMACVector> vectors = {
        // RFC 2202, HMAC-MD5: test cases 1, 2, 3, 4, 6, 7.
        {0, repeated('\x0b', 16), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d"},
        {0, "Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738"},
        {0, repeated('\xaa', 16), repeated('\xdd', 50), "56be34521d144c88dbb8c733f0e8b3f6"},
        {0, bytesFrom1To25(), repeated('\xcd', 50), "697eaf0aca3a3aea3a75164746ffaa79"},
        {0, repeated('\xaa', 80), largerKeyText, "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
        {0, repeated('\xaa', 80), largerKeyAndDataText, "6f630fad67cda0ee1fb1f562db3aa53e"},
        // RFC 2202, HMAC-SHA1.
        {1, repeated('\x0b', 20), "Hi There", "b617318655057264e28bc0b6fb378c8ef146be00"},
        {1, "Jefe", "what do ya want for nothing?", "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
        {1, repeated('\xaa', 20), repeated('\xdd', 50), "125d7342b9ac11cd91a39af48aa17b4f63f175d3"},
        {1, bytesFrom1To25(), repeated('\xcd', 50), "4c9007f4026250c6bc8414f9bf50c86c2d7235da"},
        {1, repeated('\xaa', 80), largerKeyText, "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
        {1, repeated('\xaa', 80), largerKeyAndDataText, "e8e99d0f45237d786d6bbaa7965c7808bbff1a91"},
        // RFC 4231: test cases 1, 2, 6, 7 for each of the four SHA-2 sizes.
        {2, repeated('\x0b', 20), "Hi There", "896fb1128abbdf196832107cd49df33f47b4b1169912ba4f53684b22"},
        {2, "Jefe", "what do ya want for nothing?", "a30e01098bc6dbbf45690f3a7e9e6d0f8bbea2a39e6148008fd05e44"},
        {2, repeated('\xaa', 131), largerKeyText, "95e9a0db962095adaebe9b2d6f0dbce2d499f112f2d2b7273fa6870e"},
        {2, repeated('\xaa', 131), rfc4231Case7, "3a854166ac5d9f023f54d517d0b39dbd946770db9c2b95c9f6f565d1"},
        {3, repeated('\x0b', 20), "Hi There", "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
        {3, "Jefe", "what do ya want for nothing?", "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
        {3, repeated('\xaa', 131), largerKeyText, "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54"},
        {3, repeated('\xaa', 131), rfc4231Case7, "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2"},
        {4, repeated('\x0b', 20), "Hi There",
         "afd03944d84895626b0825f4ab46907f15f9dadbe4101ec682aa034c7cebc59cfaea9ea9076ede7f4af152e8b2fa9cb6"},
        {4, "Jefe", "what do ya want for nothing?",
         "af45d2e376484031617f78d2b58a6b1b9c7ef464f5a01b47e42ec3736322445e8e2240ca5e69e2c78b3239ecfab21649"},
        {4, repeated('\xaa', 131), largerKeyText,
         "4ece084485813e9088d2c63a041bc5b44f9ef1012a2b588f3cd11f05033ac4c60c2ef6ab4030fe8296248df163f44952"},
        {4, repeated('\xaa', 131), rfc4231Case7,
         "6617178e941f020d351e2f254e8fd32c602420feb0b8fb9adccebb82461e99c5a678cc31e799176d3860e6110c46523e"},
        {5, repeated('\x0b', 20), "Hi There",
         "87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2ce4ec2787ad0b30545e17cdedaa833b7d6b8a702038b274eaea3f4e4be9d914e"
         "eb61f1702e696c203a126854"},
        {5, "Jefe", "what do ya want for nothing?",
         "164b7a7bfcf819e2e395fbe73b56e0a387bd64222e831fd610270cd7ea2505549758bf75c05a994a6d034f65f8f0e6fdcaeab1a3"
         "4d4a6b4b636e070a38bce737"},
        {5, repeated('\xaa', 131), largerKeyText,
         "80b24263c7c1a3ebb71493c1dd7be8b49b46d1f41b4aeec1121b013783f8f3526b56d037e05f2598bd0fd2215d6a1e5295e64f73"
         "f63f0aec8b915a985d786598"},
        {5, repeated('\xaa', 131), rfc4231Case7,
         "e37b6a775dc87dbaa4dfa9f96e5e3ffddebd71f8867289865df5a32d20cdc944b6022cac3c4982b10d5eeb55c3e4de15134676fb"
         "6de0446065c97440fa8c6a58"},
    };
    return vectors;
}

} // namespace HXDigestTestVectors

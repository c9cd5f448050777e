// Bouncy Castle as the DSTU 4145 oracle of the test suite: one request per line
// on stdin, one answer per line on stdout. Byte strings are hex, little-endian
// as in lncext's DSTU 4145 functions; xy is x || y, affine.
//   curve m k1 k2 k3 a b n px py   -> ok          (sets the curve and base point)
//   mul k xy                       -> xy | inf    (k (x, y))
//   comp xy                        -> c           (DSTU4145PointEncoder.encodePoint)
//   decomp c                       -> xy | none   (DSTU4145PointEncoder.decodePoint)
//   sign d hash                    -> sig pub     (r || s, and -d P compressed)
//   verify pub hash sig            -> 1 | 0
import java.io.*;
import java.math.BigInteger;
import java.security.SecureRandom;
import org.bouncycastle.asn1.ua.DSTU4145PointEncoder;
import org.bouncycastle.crypto.params.*;
import org.bouncycastle.crypto.signers.DSTU4145Signer;
import org.bouncycastle.math.ec.*;

public class Dstu4145Oracle {
    static ECCurve curve; static ECDomainParameters domain; static int fieldBytes, halfBytes;

    // Hex to bytes and back, reversed when rev (little-endian text, big-endian BigInteger).
    static byte[] bytes(String s, boolean rev) {
        byte[] b = new byte[s.length() / 2];
        for (int i = 0; i < b.length; i++)
            b[rev ? b.length - 1 - i : i] = (byte) Integer.parseInt(s.substring(2 * i, 2 * i + 2), 16);
        return b;
    }
    static String hex(byte[] b, boolean rev) {
        StringBuilder sb = new StringBuilder();
        for (int i = 0; i < b.length; i++) sb.append(String.format("%02x", b[rev ? b.length - 1 - i : i] & 0xff));
        return sb.toString();
    }
    static BigInteger le(String s) { return new BigInteger(1, bytes(s, true)); }
    static String le(BigInteger v, int len) {
        byte[] be = v.toByteArray(), out = new byte[len];
        for (int i = 0; i < len && i < be.length; i++) out[i] = be[be.length - 1 - i];
        return hex(out, false);
    }
    static String affine(ECPoint p) {
        if (p.isInfinity()) return "inf";
        p = p.normalize();
        return le(p.getAffineXCoord().toBigInteger(), fieldBytes) + le(p.getAffineYCoord().toBigInteger(), fieldBytes);
    }
    static ECPoint point(String xy) {
        int half = xy.length() / 2;
        return curve.validatePoint(le(xy.substring(0, half)), le(xy.substring(half)));
    }

    static String compress(ECPoint p) { return hex(DSTU4145PointEncoder.encodePoint(p), true); }
    static String answer(String[] t) {
        DSTU4145Signer signer = new DSTU4145Signer();
        switch (t[0]) {
            case "curve": {
                int m = Integer.parseInt(t[1]), k1 = Integer.parseInt(t[2]), k2 = Integer.parseInt(t[3]), k3 = Integer.parseInt(t[4]);
                BigInteger n = le(t[7]), a = new BigInteger(t[5]);
                curve = k2 == 0 ? new ECCurve.F2m(m, k1, a, le(t[6]), n, BigInteger.ONE)
                                : new ECCurve.F2m(m, k3, k2, k1, a, le(t[6]), n, BigInteger.ONE);
                domain = new ECDomainParameters(curve, point(t[8] + t[9]), n);
                fieldBytes = (m + 8) / 8;
                halfBytes = (n.bitLength() + 7) / 8;
                return "ok";
            }
            case "mul": return affine(point(t[2]).multiply(le(t[1])));
            case "comp": return compress(point(t[1]));
            case "decomp":
                try {
                    return affine(DSTU4145PointEncoder.decodePoint(curve, bytes(t[1], true)));
                } catch (IllegalArgumentException e) {
                    return "none";
                }
            case "sign": {
                BigInteger d = le(t[1]);
                signer.init(true, new ParametersWithRandom(new ECPrivateKeyParameters(d, domain), new SecureRandom()));
                BigInteger[] rs = signer.generateSignature(bytes(t[2], false));
                return le(rs[0], halfBytes) + le(rs[1], halfBytes) + " " + compress(domain.getG().multiply(d).negate());
            }
            case "verify": {
                signer.init(false, new ECPublicKeyParameters(DSTU4145PointEncoder.decodePoint(curve, bytes(t[1], true)), domain));
                int h = t[3].length() / 2;
                return signer.verifySignature(bytes(t[2], false), le(t[3].substring(0, h)), le(t[3].substring(h))) ? "1" : "0";
            }
            default: return "error unknown request " + t[0];
        }
    }

    public static void main(String[] args) throws Exception {
        BufferedReader in = new BufferedReader(new InputStreamReader(System.in));
        for (String line; (line = in.readLine()) != null; System.out.flush()) {
            try {
                System.out.println(answer(line.trim().split(" ")));
            } catch (RuntimeException e) {
                System.out.println("error " + e);
            }
        }
    }
}

#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets into fuzz/corpus/<target>/:
valid domain parameters, keys, signatures and points from the tests' vector
files, each laid out as its target reads its input, plus edge lengths and
values. Run from anywhere; rewrites the seeds it makes (the fuzzer's own
additions keep their hash names)."""
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
VEC = os.path.join(HERE, '..', 'tests', 'vectors')
OUT = os.path.join(HERE, 'corpus')


def blocks(name):
    # A family whose vectors are not in this tree yet may be pointed at
    # through LNCEXT_VECTORS.
    path = os.path.join(VEC, name)
    if not os.path.exists(path):
        path = os.path.join(os.environ.get('LNCEXT_VECTORS', VEC), name)
    if not os.path.exists(path):
        return []
    out, cur = [], {}
    for line in open(path):
        line = line.rstrip('\n')
        if line.startswith('#'):
            continue
        if not line.strip():
            if cur:
                out.append(cur)
            cur = {}
            continue
        if ' = ' in line:
            k, v = line.split(' = ', 1)
            cur[k] = v
    if cur:
        out.append(cur)
    return out


def seed(target, name, data):
    d = os.path.join(OUT, target)
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, name), 'wb') as f:
        f.write(bytes(data))


def u16(v):
    return bytes([(v >> 8) & 255, v & 255])


def i8(v):
    return bytes([v & 255])


h = bytes.fromhex

# ---- GOST R 34.10-2001 and VKO ----
gost = blocks('gostr341001.txt')
params = {b['paramset']: b for b in gost if 'paramset' in b and 'p' in b}
for name, b in params.items():
    seed('fuzz_rds_init', 'paramset_' + name, b''.join(h(b[k]) for k in 'p a b q x y'.split()))
t = params['test']
base = {k: h(t[k]) for k in 'p a b q x y'.split()}
p_int = int(t['p'], 16)
edges = {
    'even_p': dict(base, p=(p_int - 1).to_bytes(32, 'big')),
    'p_254_bits': dict(base, p=(2**253 + 1).to_bytes(32, 'big')),
    'a_zero': dict(base, a=bytes(32)),
    'b_equals_p': dict(base, b=base['p']),
    'y_equals_p': dict(base, y=base['p']),
    'infinity_base_point': dict(base, x=bytes(32), y=bytes(32)),
    'short_order': dict(base, q=(2**253).to_bytes(32, 'big')),
}
for name, v in edges.items():
    seed('fuzz_rds_init', name, b''.join(v[k] for k in 'p a b q x y'.split()))
ex = next(b for b in gost if b.get('example') == 'rfc5832')
pub = h(ex['qx']) + h(ex['qy'])
seed('fuzz_rds_verify', 'rfc5832', b'\0' + pub + h(ex['e']) + h(ex['sig']))
seed('fuzz_rds_verify', 'rfc5832_swapped', b'\0' + pub + h(ex['e']) + h(ex['sig'])[32:] + h(ex['sig'])[:32])
seed('fuzz_rds_verify', 'infinity_key', b'\0' + bytes(64) + h(ex['e']) + h(ex['sig']))
seed('fuzz_rds_verify', 'r_equals_q', b'\0' + pub + h(ex['e']) + h(ex['s']) + base['q'])
seed('fuzz_rds_verify', 'hash_equals_q', b'\0' + pub + base['q'] + h(ex['sig']))
ukm = bytes.fromhex('1d80603c8544c727')
seed('fuzz_vko_gen_kek', 'rfc5832_key', b'\0' + h(ex['d']) + pub + ukm)
seed('fuzz_vko_gen_kek', 'zero_ukm', b'\0' + h(ex['d']) + pub + bytes(8))
seed('fuzz_vko_gen_kek', 'infinity_key', b'\0' + h(ex['d']) + bytes(64) + ukm)
seed('fuzz_vko_gen_kek', 'd_equals_q', b'\0' + base['q'] + pub + ukm)
a = params['A']
seed('fuzz_vko_gen_kek', 'cryptopro_a_base', b'\1' + h(ex['d']) + h(a['x']) + h(a['y']) + ukm)

# ---- RSA ----
rsa = blocks('rsa.txt')
keys = {b['name']: b for b in rsa if b.get('kind') == 'key'}
raws = [b for b in rsa if b.get('kind') == 'raw' and 'key' in b]


def record(hexnum):
    v = h(hexnum if len(hexnum) % 2 == 0 else '0' + hexnum).lstrip(b'\0')
    return u16(len(v)) + v


seed('fuzz_rsa_load_prm', 'zero', u16(0))
seed('fuzz_rsa_load_prm', 'one_byte', u16(1) + b'\x80')
seed('fuzz_rsa_load_prm', 'leading_zero', u16(3) + b'\0\1\2')
seed('fuzz_rsa_load_prm', 'max_256', u16(256) + bytes([0xff]) * 256)
seed('fuzz_rsa_load_prm', 'over_257', u16(257) + bytes(257))
seed('fuzz_rsa_load_prm', 'huge_length', u16(0xffff))
for name in ('pss1', 'oaep-int', 'pss9'):
    k = keys.get(name)
    if not k:
        continue
    pubblob = record(k['n']) + record(k['e'])
    nbytes = (int(k['n'], 16).bit_length() + 7) // 8
    privblob = b''.join(record(k[f]) for f in ('p', 'q', 'dp', 'dq', 'qinv'))
    vec = next((r for r in raws if r['key'] == name), None)
    x = h(vec['x']) if vec else b'\x01' * nbytes
    y = h(vec['y']) if vec else b'\x01'
    seed('fuzz_rsa_encrypt', name, u16(len(x)) + u16(len(pubblob)) + pubblob + x)
    seed('fuzz_rsa_encrypt', name + '_len_k_plus_1', u16(nbytes + 1) + u16(len(pubblob)) + pubblob + x + b'\0')
    seed('fuzz_rsa_encrypt', name + '_len_zero', u16(0) + u16(len(pubblob)) + pubblob)
    seed('fuzz_rsa_verify', name, u16(len(y)) + u16(len(pubblob)) + pubblob + x.rjust(nbytes, b'\0') + y)
    seed('fuzz_rsa_verify', name + '_negative_len', u16(0xffff) + u16(len(pubblob)) + pubblob + x.rjust(nbytes, b'\0'))
    seed('fuzz_rsa_sign', name, u16(len(y)) + u16(len(privblob)) + privblob + y)
    seed('fuzz_rsa_sign', name + '_len_zero', u16(0) + u16(len(privblob)) + privblob)
    seed('fuzz_rsa_sign', name + '_swapped_primes',
         u16(len(y)) + u16(len(privblob)) + record(k['q']) + record(k['p']) +
         b''.join(record(k[f]) for f in ('dq', 'dp', 'qinv')) + y)
small = u16(1) + b'\x03' + u16(1) + b'\x03'
seed('fuzz_rsa_encrypt', 'tiny_modulus', u16(1) + u16(len(small)) + small + b'\2')
seed('fuzz_rsa_sign', 'first_record_129', u16(1) + u16(131) + u16(129) + bytes(129) + b'\1')

# ---- Big numbers ----
def num(v, n=None):
    n = n or max(1, (v.bit_length() + 7) // 8)
    return v.to_bytes(n, 'big')


div_cases = {
    'one_word_divisor': (2**200 + 12345, 0xFFFFFFFF),
    'top_bit_divisor': (2**512 - 1, 2**255 + 1),
    'exact_multiple': ((2**192 - 3) * (2**160 + 7), 2**160 + 7),
    'dividend_below': (5, 2**64),
    'equal': (2**96 + 1, 2**96 + 1),
    'qhat_correction': (0x7FFFFFFF_FFFFFFFF_00000000_00000000_00000001, 0x80000000_00000001_00000001),
    'zero_divisor': (2**64, 0),
    'max_dividend': (2**8192 - 1, 2**4095 + 3),
}
for name, (av, mv) in div_cases.items():
    ab, mb = num(av), (num(mv) if mv else b'')
    for flags in (0, 1):
        seed('fuzz_bn_div', '%s_%d' % (name, flags), bytes([flags]) + u16(len(ab)) + u16(len(mb)) + ab + mb)
pss1 = keys['pss1']
n_int, e_int = int(pss1['n'], 16), 65537
pow_cases = {
    'rsa1024': (n_int, e_int, int(pss1['p'], 16)),
    'even_modulus': (2**255 - 2, 2**61 - 1, 3),
    'modulus_one': (1, 5, 7),
    'zero_exponent': (2**127 - 1, 0, 9),
    'one_word': (0xFFFFFFFB, 2**64 - 1, 2),
    'power_of_two': (2**128, 3, 2**100 + 1),
}
for name, (mv, ev, xv) in pow_cases.items():
    mb, eb, xb = num(mv), (num(ev) if ev else b''), num(xv)
    seed('fuzz_bn_powmod', name, u16(len(mb)) + bytes([len(eb)]) + u16(len(xb)) + mb + eb + xb)
inv_cases = {
    'rsa_p': (int(pss1['p'], 16), 65537),
    'one_word': (0xFFFFFFFB, 2),
    'a_zero': (2**127 - 1, 0),
    'not_coprime': (3 * 2**100 + 3, 3),
    'max_modulus': (2**4096 - 1, 2**4095 + 1),
}
for name, (mv, av) in inv_cases.items():
    mb, ab = num(mv), (num(av) if av else b'')
    seed('fuzz_bn_modinv', name, b'\0' + u16(len(mb)) + u16(len(ab)) + mb + ab)

# ---- Hashes and cipher modes ----
for alg in range(3):
    for n in (0, 1, 31, 32, 33, 63, 64, 65, 200):
        cuts = [n // 3, n // 3 + 1] if n else []
        seed('fuzz_hash_split', 'alg%d_len%d' % (alg, n),
             bytes([alg, len(cuts)]) + b''.join(u16(c) for c in cuts) + bytes((i * 7 + 1) & 255 for i in range(n)))
for mode in range(5):
    for n in (0, 7, 8, 9, 16, 17, 64, 100):
        cuts = [8, 3, 0] if n else []
        key = bytes(range(32))
        iv = bytes(range(8, 16))
        msg = bytes((i * 13 + 5) & 255 for i in range(n))
        seed('fuzz_cipher_split', 'mode%d_len%d' % (mode, n),
             bytes([mode, 0]) + key + iv + bytes([len(cuts)]) + b''.join(u16(c) for c in cuts) + msg)
    seed('fuzz_cipher_split', 'mode%d_own_sbox' % mode,
         bytes([mode, 1]) + bytes(range(32)) + bytes(8) + bytes((i * 5) & 15 for i in range(128)) + b'\0' + bytes(40))

# ---- GF(2^m) and DSTU 4145 ----
class Field:
    def __init__(self, m, ks):
        self.m = m
        self.f = (1 << m) | 1
        for k in ks:
            if k:
                self.f |= 1 << k

    def mod(self, a):
        m = self.m
        while a.bit_length() > m:
            a ^= self.f << (a.bit_length() - 1 - m)
        return a

    def mul(self, a, b):
        r = 0
        while b:
            if b & 1:
                r ^= a
            a <<= 1
            b >>= 1
        return self.mod(r)

    def inv(self, a):
        r, e = 1, (1 << self.m) - 2
        while e:
            if e & 1:
                r = self.mul(r, a)
            a = self.mul(a, a)
            e >>= 1
        return r

    def trace(self, a):
        t, s = 0, a
        for _ in range(self.m):
            t ^= s
            s = self.mul(s, s)
        return t & 1


def le(hexs):
    return int.from_bytes(h(hexs), 'little')


def compress(F, x, y):
    if x == 0:
        return 0
    return (x & ~1) | F.trace(F.mul(y, F.inv(x)))


ec2 = blocks('dstu4145.txt')
if ec2:
    curves = {b['curve']: b for b in ec2 if 'curve' in b}
    b1 = next(b for b in ec2 if b.get('example') == 'B.1')
    setups = [  # as the targets' contexts: 163 with the example's point, 257, 431
        (b1, le(b1['px']), le(b1['py'])),
        (curves['dstu4145-257pb'], le(curves['dstu4145-257pb']['gx']), le(curves['dstu4145-257pb']['gy'])),
        (curves['dstu4145-431pb'], le(curves['dstu4145-431pb']['gx']), le(curves['dstu4145-431pb']['gy'])),
    ]
    for sel, (c, x, y) in enumerate(setups):
        m = int(c['m'])
        F = Field(m, [int(c['k1']), int(c['k2']), int(c['k3'])])
        L = (m + 8) // 8
        cx = compress(F, x, y).to_bytes(L, 'little')
        xy = x.to_bytes(L, 'little') + y.to_bytes(L, 'little')
        bb, nb = h(c['b']), h(c['n'])
        fsel = {163: 0, 191: 1, 257: 2, 431: 3}[m]
        init = bytes([fsel, int(c['a'])]) + i8(len(bb)) + bb + i8(L) + cx + i8(len(nb)) + nb
        seed('fuzz_dstu_init', 'curve%d' % m, init)
        seed('fuzz_dstu_init', 'curve%d_b_too_long' % m, bytes([fsel, int(c['a'])]) + i8(L + 1) + bb + b'\0')
        seed('fuzz_dstu_init', 'curve%d_negative_blen' % m, bytes([fsel, int(c['a'])]) + i8(-1))
        seed('fuzz_dstu_init', 'curve%d_short_order' % m,
             bytes([fsel, int(c['a'])]) + i8(len(bb)) + bb + i8(L) + cx + i8(19) + bytes([0xff]) * 19)
        seed('fuzz_dstu_ucpubk', 'base_point_%d' % m, bytes([sel]) + i8(L) + cx)
        seed('fuzz_dstu_ucpubk', 'over_long_%d' % m, bytes([sel]) + i8(4 * ((m + 31) // 32) + 1) + cx)
        seed('fuzz_dstu_ucpubk', 'zero_%d' % m, bytes([sel]) + i8(L) + bytes(L))
        seed('fuzz_dstu_cppubk', 'base_point_%d' % m, bytes([sel]) + i8(L) + xy)
        seed('fuzz_dstu_cppubk', 'short_buffer_%d' % m, bytes([sel]) + i8(L - 1) + xy)
    # The worked example: signature, public key, key agreement.
    F = Field(163, [7, 6, 3])
    q = compress(F, le(b1['qx']), le(b1['qy'])).to_bytes(21, 'little')
    hbits = int(b1['hbits'])
    hashb = h(b1['hash'])[:(min(hbits, 163) + 7) // 8]
    sig = h(b1['sig'])
    verify = lambda pubb, hb, s: b'\0' + i8(len(pubb)) + u16(hbits) + i8(len(s)) + pubb + hb + s
    seed('fuzz_dstu_verify', 'example_b1', verify(q, hashb, sig))
    seed('fuzz_dstu_verify', 'example_b1_sig_plus_2', verify(q, hashb, sig + b'\0\0'))
    seed('fuzz_dstu_verify', 'example_b1_pub_plus_1', verify(q + b'\0', hashb, sig))
    seed('fuzz_dstu_verify', 'example_b1_r_equals_n', verify(q, hashb, h(b1['n']) + sig[21:]))
    priv = h(b1['priv'])
    for cofsel in (0, 1, 3):  # cofactor 0, 2, 3
        seed('fuzz_dhua_zz', 'example_b1_cofactor%d' % cofsel,
             bytes([0, cofsel]) + i8(len(priv)) + i8(len(q)) + b'\1' + priv + q)
    seed('fuzz_dhua_zz', 'example_b1_no_cofactor', bytes([0, 0]) + i8(len(priv)) + i8(len(q)) + b'\0' + priv + q)
    seed('fuzz_dhua_zz', 'zero_key', bytes([0, 0]) + i8(len(priv)) + i8(len(q)) + b'\0' + bytes(len(priv)) + q)
    seed('fuzz_dhua_zz', 'private_57_bytes', bytes([0, 0]) + i8(57) + i8(len(q)) + b'\0' + priv + bytes(36) + q)
    for sel in range(6):
        seed('fuzz_gf2m_mul', 'all_ones_%d' % sel, bytes([sel | (sel << 3)]) + bytes([0xff]) * 112)
        seed('fuzz_gf2m_mul', 'sparse_%d' % sel,
             bytes([sel | ((5 - sel) % 4) << 3]) + bytes((1 << (i % 8)) if i % 9 == 0 else 0 for i in range(112)))
print('seeds written to', OUT, file=sys.stderr)

#!/usr/bin/env python3
"""Writes property lists that are too large to store.   usage: derive.py OUTDIR"""
import os
import struct
import sys


def be(n, size):
    return n.to_bytes(size, 'big')


def hdr(hi, n):
    if n < 15:
        return bytes([hi << 4 | n])
    e = 0 if n < 1 << 8 else 1 if n < 1 << 16 else 2
    return bytes([hi << 4 | 15, 0x10 | e]) + be(n, 1 << e)


def build(objs, ref, off, top=0):
    """objs: list of (header, refs, bytes)"""
    out, offs = bytearray(b'bplist00'), []
    for h, refs, raw in objs:
        offs.append(len(out))
        out += h + b''.join(be(r, ref) for r in refs) + raw
    table = len(out)
    for o in offs:
        out += be(o, off)
    return bytes(out) + bytes(6) + bytes([off, ref]) + be(len(objs), 8) + be(top, 8) + be(table, 8)


def main():
    outdir = sys.argv[1]
    os.makedirs(outdir, exist_ok=True)
    rows = []

    def put(name, data, outcome, reason):
        with open(os.path.join(outdir, name), 'wb') as f:
            f.write(data)
        rows.append((name, outcome, reason))
    leaf = (b'\x09', [], b'')
    pro = b'<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0">'
    end = b'</plist>\n'
    for n in (1000, 10000, 100000):
        o = 'bounded'
        put('deep-array-%d.bplist' % n, build([(b'\xa1', [i + 1], b'') for i in range(n)] + [leaf], 4, 4), o, '%d nested arrays' % n)
        put('deep-dict-%d.bplist' % n, build([(b'\xd1', [n + 1, i + 1], b'') for i in range(n)] + [leaf, (b'\x51n', [], b'')], 4, 4), o, '%d nested dictionaries' % n)
        put('deep-array-%d.xml' % n, pro + b'<array>' * n + b'</array>' * n + end, o, '%d nested arrays' % n)
        put('deep-dict-%d.xml' % n, pro + b'<dict><key>n</key>' * n + b'<true/>' + b'</dict>' * n + end, o, '%d nested dictionaries' % n)
    put('deep-unclosed-100000.xml', pro + b'<array>' * 100000, 'reject', '100000 start tags and no end tag')
    put('deep-cycle-100000.bplist', build([(b'\xa1', [(i + 1) % 100000], b'') for i in range(100000)], 4, 4), 'reject', 'cycle over 100000 arrays')
    put('deep-unknown-100000.xml', pro + b'<x>' * 100000 + b'</x>' * 100000 + end, 'reject', '100000 nested unknown elements')
    n = 65536
    put('wide-dict-65536.bplist', build([(hdr(13, n), [i + 1 for i in range(n)] + [n + 1 + i % 2 for i in range(n)], b'')] +
                                        [(b'\x55', [], b'%05x' % i) for i in range(n)] + [(b'\x08', [], b''), (b'\x09', [], b'')], 4, 4),
        'valid', 'dictionary: key i (0 to 65535) is i as five lower-case hexadecimal digits, value is true where i is odd, else false')
    n = 70000
    put('wide-array-70000.bplist', build([(hdr(10, n), [i + 1 for i in range(n)], b'')] + [(b'\x12' + be(i * 60013 % 2**32, 4), [], b'') for i in range(n)], 4, 4),
        'valid', 'array of 70000 integers, element i is i*60013 mod 2^32; refs and offsets of 4 bytes')
    put('wide-array-70000-ref3.bplist', build([(hdr(10, n), [i + 1 for i in range(n)], b'')] + [(b'\x12' + be(i * 60013 % 2**32, 4), [], b'') for i in range(n)], 3, 3),
        'valid', 'the same with three-byte refs and offsets')
    put('long-string-1048576.xml', pro + b'<string>' + b'0123456789abcdef' * 65536 + b'</string>' + end, 'valid', 'string: 0123456789abcdef repeated 65536 times')
    put('many-entities-200000.xml', pro + b'<string>' + b'&amp;' * 200000 + b'</string>' + end, 'valid', 'string of 200000 times &')
    put('many-comments-100000.xml', pro + b'<array>' + b'<!---->' * 100000 + b'</array>' + end, 'valid', 'an empty array')
    put('long-comment-1000000.xml', pro + b'<!--' + b' -' * 500000 + b' --><true/>' + end, 'valid', 'true')
    put('long-attribute-1000000.xml', pro[:-1] + b' note="' + b'n' * 1000000 + b'"><true/>' + end, 'bounded', 'attribute value of a million characters')
    put('long-name-1000000.xml', pro + b'<' + b'a' * 1000000 + b'/>' + end, 'reject', 'unknown element with a name of a million characters')
    put('many-attributes-20000.xml', pro + b'<true ' + b' '.join(b'a%d="1"' % i for i in range(20000)) + b'/>' + end, 'bounded', '20000 attributes on one element')
    put('long-integer-1000000.xml', pro + b'<integer>' + b'9' * 1000000 + b'</integer>' + end, 'bounded', 'integer of a million digits')
    put('long-real-1000000.xml', pro + b'<real>0.' + b'3' * 1000000 + b'</real>' + end, 'bounded', 'real of a million digits')
    put('dict-same-key-50000.xml', pro + b'<dict>' + b'<key>k</key><true/>' * 50000 + b'</dict>' + end, 'bounded', 'the same key 50000 times')
    put('dict-near-keys-50000.xml', pro + b'<dict>' + b''.join(b'<key>%s%05d</key><true/>' % (b'k' * 40, i) for i in range(50000)) + b'</dict>' + end, 'valid',
        'dictionary: key i (0 to 49999) is 40 times k and i as five decimal digits, every value true')
    with open(os.path.join(outdir, 'manifest.tsv'), 'w') as f:
        f.write('file\toutcome\treason\n')
        for r in rows:
            f.write('\t'.join(r) + '\n')
    print(len(rows), 'files')


if __name__ == '__main__':
    main()

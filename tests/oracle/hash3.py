"""XXH3 with 64 and 128 bits, seed 0, written plainly from the description of the algorithm
(https://github.com/Cyan4973/xxHash/blob/dev/doc/xxhash_spec.md). Slow."""

import struct

MASK = (1 << 64) - 1
P32 = (0x9E3779B1, 0x85EBCA77, 0xC2B2AE3D)
P64 = (0x9E3779B185EBCA87, 0xC2B2AE3D27D4EB4F, 0x165667B19E3779F9, 0x85EBCA77C2B2AE63, 0x27D4EB2F165667C5)
MX1, MX2 = 0x165667919E3779F9, 0x9FB21C651E98DF25
SECRET = bytes.fromhex(
    'b8fe6c3923a44bbe7c01812cf721ad1cded46de9839097db7240a4a4b7b3671fcb79e64eccc0e578825ad07dccff7221'
    'b8084674f743248ee03590e6813a264c3c2852bb91c300cb88d0658b1b532ea371644897a20df94e3819ef46a9deacd8'
    'a8fa763fe39c343ff9dcbbc7c70b4f1d8a51e04bcdb45931c89f7ec9d9787364eac5ac8334d3ebc3c581a0fffa1363eb'
    '170ddd51b7f0da49d316552629d4689e2b16be587d47a1fc8ff8b8d17ad031ce45cb3a8f95160428afd7fbcabb4b407e')


def words(data, at, count, width=8):
    return struct.unpack_from('<%d%s' % (count, 'Q' if width == 8 else 'I'), data, at)


def xor_words(at, width=8):
    first, second = words(SECRET, at, 2, width)
    return first ^ second


def fold(a, b):
    product = a * b
    return (product & MASK) ^ (product >> 64)


def rotate(value, by, bits=64):
    return ((value << by) | (value >> (bits - by))) & ((1 << bits) - 1)


def swap(value, width):
    return int.from_bytes(value.to_bytes(width, 'little'), 'big')


def avalanche(x):
    x = (x ^ (x >> 37)) * MX1 & MASK
    return x ^ (x >> 32)


def old_avalanche(x):
    x = (x ^ (x >> 33)) * P64[1] & MASK
    x = (x ^ (x >> 29)) * P64[2] & MASK
    return x ^ (x >> 32)


def hash64(data):
    n = len(data)
    if n == 0:
        return old_avalanche(xor_words(56))
    if n <= 3:
        return old_avalanche(xor_words(0, 4) ^ combined(data))
    if n <= 8:
        first, last = words(data, 0, 1, 4)[0], words(data, n - 4, 1, 4)[0]
        value = xor_words(8) ^ (last | first << 32)
        value ^= rotate(value, 49) ^ rotate(value, 24)
        value = value * MX2 & MASK
        value ^= (value >> 35) + n
        value = value * MX2 & MASK
        return value ^ (value >> 28)
    if n <= 16:
        low = xor_words(24) ^ words(data, 0, 1)[0]
        high = xor_words(40) ^ words(data, n - 8, 1)[0]
        return avalanche((n + swap(low, 8) + high + fold(low, high)) & MASK)
    if n <= 240:
        return avalanche(middle64(data, n))
    return merge(long_state(data), n * P64[0] & MASK, 11)


def combined(data):
    n = len(data)
    return data[-1] | n << 8 | data[0] << 16 | data[n >> 1] << 24


def mix(data, at, secret_at):
    a, b = words(data, at, 2)
    s, t = words(SECRET, secret_at, 2)
    return fold(a ^ s, b ^ t)


def middle64(data, n):
    state = n * P64[0]
    if n <= 128:
        for i in reversed(range(((n - 1) >> 5) + 1)):
            state += mix(data, 16 * i, 32 * i) + mix(data, n - 16 * i - 16, 32 * i + 16)
        return state & MASK
    state = avalanche((state + sum(mix(data, 16 * i, 16 * i) for i in range(8))) & MASK)
    state += sum(mix(data, 16 * i, 16 * (i - 8) + 3) for i in range(8, n >> 4))
    return (state + mix(data, n - 16, 119)) & MASK


def long_state(data):
    n = len(data)
    state = [P32[2], P64[0], P64[1], P64[2], P64[3], P32[1], P64[4], P32[0]]

    def accumulate(at, secret_at):
        for i, (word, key) in enumerate(zip(words(data, at, 8), words(SECRET, secret_at, 8))):
            value = word ^ key
            state[i ^ 1] = (state[i ^ 1] + word) & MASK
            state[i] = (state[i] + (value & 0xFFFFFFFF) * (value >> 32)) & MASK

    last_block = (n - 1) // 1024
    for block in range(last_block):
        for stripe in range(16):
            accumulate(1024 * block + 64 * stripe, 8 * stripe)
        for i, key in enumerate(words(SECRET, 128, 8)):
            state[i] = ((state[i] ^ (state[i] >> 47) ^ key) * P32[0]) & MASK
    for stripe in range((n - 1 - 1024 * last_block) // 64):
        accumulate(1024 * last_block + 64 * stripe, 8 * stripe)
    accumulate(n - 64, 192 - 71)
    return state


def merge(state, start, secret_at):
    keys = words(SECRET, secret_at, 8)
    for i in range(0, 8, 2):
        start += fold(state[i] ^ keys[i], state[i + 1] ^ keys[i + 1])
    return avalanche(start & MASK)


def hash128(data):
    """(high, low)"""
    n = len(data)
    if n == 0:
        return old_avalanche(xor_words(80)), old_avalanche(xor_words(64))
    if n <= 3:
        value = combined(data)
        return (old_avalanche(xor_words(8, 4) ^ rotate(swap(value, 4), 13, 32)),
                old_avalanche(xor_words(0, 4) ^ value))
    if n <= 8:
        first, last = words(data, 0, 1, 4)[0], words(data, n - 4, 1, 4)[0]
        product = (xor_words(16) ^ (first | last << 32)) * (P64[0] + (n << 2) & MASK)
        low, high = product & MASK, product >> 64
        high = (high + (low << 1)) & MASK
        low ^= high >> 3
        low = (low ^ (low >> 35)) * MX2 & MASK
        return avalanche(high), low ^ (low >> 28)
    if n <= 16:
        first, last = words(data, 0, 1)[0], words(data, n - 8, 1)[0]
        one, two = xor_words(32) ^ first ^ last, xor_words(48) ^ last
        product = one * P64[0]
        low = (product + ((n - 1) << 54)) & MASK
        high = ((product >> 64) + (two >> 32 << 32) + (two & 0xFFFFFFFF) * P32[1]) & MASK
        low ^= swap(high, 8)
        product = low * P64[1]
        return avalanche(((product >> 64) + high * P64[1]) & MASK), avalanche(product & MASK)
    if n <= 240:
        return middle128(data, n)
    state = long_state(data)
    return merge(state, ~(n * P64[1]) & MASK, 192 - 75), merge(state, n * P64[0] & MASK, 11)


def middle128(data, n):
    state = [n * P64[0] & MASK, 0]

    def mix_two(one, two, secret_at):
        state[0] = (state[0] + mix(data, one, secret_at) & MASK) ^ (sum(words(data, two, 2)) & MASK)
        state[1] = (state[1] + mix(data, two, secret_at + 16) & MASK) ^ (sum(words(data, one, 2)) & MASK)

    if n <= 128:
        for i in reversed(range(((n - 1) >> 5) + 1)):
            mix_two(16 * i, n - 16 * i - 16, 32 * i)
    else:
        for i in range(4):
            mix_two(32 * i, 32 * i + 16, 32 * i)
        state = [avalanche(value) for value in state]
        for i in range(4, n >> 5):
            mix_two(32 * i, 32 * i + 16, 32 * (i - 4) + 3)
        mix_two(n - 16, n - 32, 103)
    high = state[0] * P64[0] + state[1] * P64[3] + n * P64[1]
    return -avalanche(high & MASK) & MASK, avalanche(sum(state) & MASK)


def digits128(data):
    return '%016x%016x' % hash128(data)

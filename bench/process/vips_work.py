#!/usr/bin/env python3
"""The works of `compare` by libvips, whose command does one operation a process.

usage: vips_work.py chain|layers OUT IN...
"""
import ctypes
import sys

vips = ctypes.CDLL("libvips.so.42")
vips.vips_image_new_from_file.restype = ctypes.c_void_p
P, D = ctypes.c_void_p, ctypes.c_double
END = P(None)
POWER = 0  # libvips' number for it


def check(status):
    if status != 0:
        vips.vips_error_buffer.restype = ctypes.c_char_p
        sys.exit(vips.vips_error_buffer().decode())


def load(path):
    image = vips.vips_image_new_from_file(path.encode(), END)
    check(0 if image else 1)
    return P(image)


def linear(image, factor, offset):
    out = P()
    check(vips.vips_linear1(image, ctypes.byref(out), D(factor), D(offset), END))
    return out


def combine(function, first, second):
    out = P()
    check(function(first, second, ctypes.byref(out), END))
    return out


def alpha(image):
    out = P()
    check(vips.vips_extract_band(image, ctypes.byref(out), 3, END))
    return out


def power(image, exponent):
    out = P()
    check(vips.vips_math2_const1(image, ctypes.byref(out), POWER, D(exponent), END))
    return out


def chain(image):
    image = power(linear(linear(image, 1.2, 0), 1, 0.01), 0.9)
    image = power(linear(linear(image, 1.3, 0), 1, 0.05), 1.1)
    return linear(linear(image, 0.9, 0), 1, 0.02)


# Its EXR reader makes alpha 0..255.
def over(above, below):
    rest = combine(vips.vips_multiply, below, linear(alpha(above), -1 / 255, 1))
    return combine(vips.vips_add, above, rest)


def layers(images):
    below, *others = [linear(image, 0.8, 0) for image in images]
    for above in others:
        below = over(above, below)
    return below


check(vips.vips_init(b"vips_work"))
work, target, sources = sys.argv[1], sys.argv[2], [load(path) for path in sys.argv[3:]]
result = chain(sources[0]) if work == "chain" else layers(sources)
check(vips.vips_image_write_to_file(result, target.encode(), END))

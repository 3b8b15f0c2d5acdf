"""Angles between rotations, in another way than the program's."""
import math


def distance_angle(a, b):
    """Degrees between two rotations of nine numbers each, through the distance of the matrices, |A - B| =
    2 sqrt(2) sin(angle / 2), which is exact for small angles.
    """
    return math.degrees(2 * math.asin(min(1.0, math.dist(a, b) / (2 * math.sqrt(2)))))

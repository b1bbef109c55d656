"""Writes elementary_values.txt: nearest doubles of elementary functions, by decimal arithmetic of 1100 digits where angles
are huge and of 80 otherwise. Knows nothing of how the library computes them."""
import decimal
import fractions
import math
import pathlib
import random

D = decimal.Decimal


def series(x, first):
    """x^first / first! - x^(first + 2) / (first + 2)! + ..."""
    total, term, n = D(0), D(1) if first == 0 else x, first
    while abs(term) > D(10) ** -(decimal.getcontext().prec - 5) * max(abs(total), D(10) ** -330):
        total += term
        term = -term * x * x / ((n + 1) * (n + 2))
        n += 2
    return total


def arc_tangent(x):
    if x > D("0.2"):
        return 2 * arc_tangent(x / (1 + (1 + x * x).sqrt()))
    total, power, n = D(0), x, 1
    while abs(power) > D(10) ** -(decimal.getcontext().prec - 5) * abs(x):
        total += power / n
        power = -power * x * x
        n += 2
    return total


def arc_tangent_of_inverse(n):
    total, power, k = D(0), D(1) / n, 1
    while power > D(10) ** -(decimal.getcontext().prec + 5):
        total += power / k if k % 4 == 1 else -power / k
        power /= n * n
        k += 2
    return total


def pi():
    return 16 * arc_tangent_of_inverse(5) - 4 * arc_tangent_of_inverse(239)


def angle(y, x):
    """Of a point above the axis or on it."""
    y, x = D(y), D(x)
    if y == 0:
        return D(0) if x > 0 else pi()
    if abs(x) >= y:
        first = arc_tangent(y / abs(x))
    else:
        first = pi() / 2 - arc_tangent(abs(x) / y)
    return first if x >= 0 else pi() - first


def trigonometric(x, first):
    turn = 2 * pi()
    return series(D(x) - turn * (D(x) / turn).to_integral_value(), first)


def nearest(value):
    exact = fractions.Fraction(value)
    return exact.numerator / exact.denominator  # Python rounds quotients of integers correctly


def main():
    draw = random.Random(20)
    rows = []

    def add(name, value, *arguments):
        rows.append(" ".join([name, *(float(a).hex() for a in arguments), nearest(value).hex()]))
    decimal.getcontext().prec = 80
    for _ in range(40):
        x = draw.uniform(-700, 700) if draw.random() < 0.5 else draw.uniform(-2, 2)
        add("exp", D(x).exp(), x)
        x = draw.uniform(0.5, 2) if draw.random() < 0.5 else math.ldexp(draw.uniform(1, 2), draw.randint(-1070, 1022))
        add("log", D(x).ln(), x)
        x = draw.uniform(-1, 1)
        add("acos", angle((1 - D(x) * D(x)).sqrt(), x), x)
        y, x = draw.uniform(-1, 1), draw.uniform(-1, 1) * 10 ** draw.randint(-3, 3)
        add("atan2", angle(abs(y), x).copy_sign(D(y)), y, x)
        y, x = draw.uniform(-1, 1), draw.uniform(-1, 1) * 10 ** draw.randint(-3, 3)
        add("hypot", (D(x) * D(x) + D(y) * D(y)).sqrt(), y, x)
        x = draw.uniform(-7, 7)
        add("sin", trigonometric(x, 1), x)
        add("cos", trigonometric(x, 0), x)
    decimal.getcontext().prec = 1100
    for k in range(12):
        x = math.ldexp(draw.uniform(1, 2), draw.randint(4, 120) if k < 6 else draw.randint(120, 1023))
        add("sin", trigonometric(x, 1), x)
        add("cos", trigonometric(x, 0), x)
    # The double nearest of all to a multiple of a quarter turn.
    add("cos", trigonometric(math.ldexp(6381956970095103, 797), 0), math.ldexp(6381956970095103, 797))
    add("sin", trigonometric(math.ldexp(6381956970095103, 797), 1), math.ldexp(6381956970095103, 797))
    pathlib.Path(__file__).with_name("elementary_values.txt").write_text("\n".join(sorted(rows)) + "\n")


if __name__ == "__main__":
    main()

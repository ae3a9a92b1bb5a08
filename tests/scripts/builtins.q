# Builtins on numbers: exact on integers and rationals, floats at their
# precision, anything else left as a call.
floor(7/2), ceil(7/2), round(7/2), trunc(7/2), frac(7/2);
floor(-7/2), ceil(-7/2), round(-7/2), trunc(-7/2), frac(-7/2);
floor(-2.5), ceil(-2.5), round(-2.5), round(2.5), trunc(-2.5), frac(-2.25);
floor(10^30 + 1/2), round(1.5e25), floor(Pi), ceil(sqrt(2));
floor(x), abs(y), abs(-3), abs(-2/3), abs(-1.5), abs(3 + 4*I), abs(3. + 4*I);
floor(evalf(undefined)), round(evalf(infinity)), abs(1/2 + 3/2*I), abs(1 + I);
iquo(17, 5), irem(17, 5), iquo(-17, 5), irem(-17, 5), iquo(17, -5), irem(17, -5);
iquo(2^70 + 1, 2^35), irem(2^70 + 1, 2^35);
iquo(1, 0);
iquo(1.5, 2);
# max and min over values, lists and rtables; undefined values are skipped
max(3, [1, 8], Vector([2, 9/2])), min(Matrix([[4, -1], [2, 0]]), 7);
max([1, evalf(undefined), 3]), min(5);
max();
max([1, x]);
# sort: numbers, strings, an order, a procedure; stable
sort([3, 1/2, -2, 2.5, 1]), sort([3, 1, 2], `>`), sort(["pear", "apple", "fig"]);
sort([[2, "b"], [1, "a"], [2, "a"]], (p, q) -> p[1] < q[1]);
sort(Vector([3, evalf(undefined), 1]));
sort([1, "a"]);
numelems(Matrix(2, 3)), numelems([1, 2]), nops(Vector([5, 6, 7])), numelems(table([a = 1]));
# rand: integers uniform on a range, from the seeded source
randomize(7): a := [seq(rand(1..6), i = 1..12)]: randomize(7): b := [seq(rand(1..6), i = 1..12)]:
evalb(a = b), max(a) <= 6, min(a) >= 1, nops(a);
randomize(7): r := rand(-2^80..2^80): evalb(abs(r) <= 2^80), whattype(r);
rand(5..5);
rand(1..0);
rand(1.5..2);
whattype(time()), evalb(time() >= 0);
# printf and sprintf directives
printf("%d|%5d|%-5d|%05d|%+d\n", 42, 42, 42, 42, 42);
printf("%d\n", 2^70);
printf("%f|%.3f|%10.2f|%e|%.2e|%g|%G\n", 1/3, 2.5, -3.14159, 12345.678, 0.000123, 0.0001, 1e-10);
Digits := 30: printf("%.25f\n", Pi): Digits := 10:
printf("%.3f %s %a %%\n", 2, "text", [1, 2]);
sprintf("%.2f", 1/8);
printf("%d\n", 2.5);
printf("%q\n", 1);
printf("%d %d", 1);

# Exact integers and rationals; floats read and computed at the working
# precision and printed to their own digits.
2^100;
-7 + 3 * 2;
6/4;
1/3 + 1/6;
(2/3)^3;
2^(-3);
(-2)^3;
123456789012345678901234567890 * 987654321098765432109876543210;
-2^2;
1.5e3;
2.5e-7;
100 - 99.5;
Digits;
evalf(1/3);
evalf(2/3);
1/3.;
0.1 + 0.2;
Digits := 30;
evalf(Pi);
evalf(sqrt(2));
evalf(exp(1));
1/3.;
x := 1/7.:
x;
Digits := 10;
x;
x + 0;
Digits := 50;
evalf(Pi);
evalf(ln(2));
evalf(Pi, 15);
Digits := 10:
evalf(Pi, 60);
evalf(Pi) + 1;
sin(1.0);
cos(0.5);
arctan(1.);
exp(-1.5);
sqrt(2.);
sqrt(4);
evalf(sqrt(4));
sin(1);
evalf(sin(1) + cos(1)^2);
evalf(undefined);
evalf(infinity);
evalf(-infinity);

# Names, assignment and evaluation; booleans and relations; lists, ranges,
# equations, sequences and tables.
x;
x + 1;
x := 5;
x + 1;
a := b;
b := 3;
a;
b := 'b';
a;
x := 'x';
x;
'rss';
''rss'';
y := 2: y * 10;
NULL;
n := NULL: [n];
true;
not true;
true and false;
true or false;
1 < 2;
2 <= 2;
3 > 4;
1 = 1.0;
1 <> 2;
p = q;
evalb(p = p);
evalb(p = q);
[1, 2, 3];
L := [4, 5, 6]:
L[1];
L[-1];
L[2..3];
L[2] := 50:
L;
nops(L);
op(L);
op(2, L);
1..5;
lhs(1..5);
rhs(a = 7);
s := 1, 2, 3;
s[2];
[s, s];
nops([s]);
"a string";
cat("x = ", 3/4);
t := table([u = 1, v = 2]);
t[u];
t[w] := 3:
t;
t[1, 2] := "pair":
t[1, 2];
nops(t);
T[k] := 9:
T;
assigned(T[k]);
assigned(T[j]);
assigned(x);
assigned(L);
whattype(1/2);
whattype(L);
whattype(t);
type(2, integer);
type(2.5, numeric);
type("s", string);
max(3, 1/2, 2.5);
min(3, 1/2, 2.5);
seq(i^2, i = 1..5);
seq(k + 1, k = [10, 20]);
add(i, i = 1..100);
mul(i, i = 1..10);
i;
f(1, 2);
%;
1 + 2:
% * 10;
_EnvStatisticsIterations := 50;
_EnvStatisticsIterations;

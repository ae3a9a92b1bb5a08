# Procedures: arrows, proc ... end proc with locals, conditionals, loops,
# return, recursion, closures; predicates, densities and statistics written
# in the language.
sq := x -> x^2;
sq(7);
sq(1.5);
hyp := (a, b) -> sqrt(a^2 + b^2);
hyp(3, 4);
hyp(3., 4);
k := () -> 42:
k();
sign := proc(x)
  if x > 0 then 1 elif x < 0 then -1 else 0 end if
end proc:
sign(-3), sign(0), sign(2.5);
# a statistic: the mean of a list
mean := proc(L) local s, v;
  s := 0;
  for v in L do s := s + v end do;
  s / nops(L)
end proc:
mean([1, 2, 3, 4]);
mean([1., 2, 4]);
# early return from inside a loop
firstneg := proc(L) local i;
  for i to nops(L) do
    if L[i] < 0 then return i end if
  end do;
  return 0
end proc:
firstneg([3, 1, -4, 1, -5]);
firstneg([1, 2]);
# a density and a predicate
phi := x -> exp(-x^2/2) / sqrt(2*Pi);
phi(0.);
evalf(phi(1));
ispos := x -> x > 0:
ispos(3), ispos(-1);
fact := proc(n) if n <= 1 then 1 else n * fact(n - 1) end if end proc:
fact(25);
fib := proc(n) local a, b, i, t;
  a, b := 0, 1;
  for i to n do t := a + b; a := b; b := t end do;
  a
end proc:
fib(90);
# closures capture the frame they were made in
adder := proc(n) m -> m + n end proc:
add5 := adder(5):
add5(10);
adder(1)(1);
# implicit locals do not touch globals; declared globals do
counter := 0:
bump := proc() global counter; counter := counter + 1 end proc:
bump(): bump():
counter;
noleak := proc() counter := 100; counter end proc:
noleak();
counter;
# nargs and args
count := proc() nargs end proc:
count(), count(1, 2, 3);
second := proc() args[2] end proc:
second(a, b, c);
# parameters not given stay unassigned names
opt := proc(a, b) if assigned(b) then a + b else a end if end proc:
opt(1), opt(1, 2);
# while, next and break
sq;
proc(x) local y; y := x; y end proc;
evens := proc(n) local i, out;
  out := [];
  i := 0;
  while true do
    i := i + 1;
    if i > n then break end if;
    if i = 3 then next end if;
    out := [op(out), 2 * i]
  end do;
  out
end proc:
evens(5);
total := proc(L) add(v, v = L) end proc:
total([1, 2, 3.5]);
# Digits is an environment variable: a procedure's change ends with it
hp := proc(x) Digits := 30; evalf(x) end proc:
hp(Pi);
Digits;

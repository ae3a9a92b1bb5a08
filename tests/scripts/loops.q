# Top-level loops and conditionals. Statements inside show their results
# when both they and the whole loop end in ';'.
for i to 3 do i^2 end do;
for i from 10 by -4 to 0 do i end do;
for i from 1 to 5 do j := i * 10: end do;
j;
for i in [a, b, c] do f(i); end do:
for i in [a, b, c] do f(i) end do;
for x in Vector([1.5, 2.5]) do 2 * x end do;
for x in table([p = 1]) do x end do;
for i from 0.5 by 0.25 to 1 do i end do;
s := 0:
while s < 10 do s := s + 3 end do;
s;
for i while i < 4 do i end do;
for i to 10 do if i = 2 then next end if; if i = 4 then break end if; i end do;
do break end do;
for i to 0 do i end do;
if 1 < 2 then "yes" else "no" end if;
if 1 > 2 then "yes" elif 2 > 3 then "maybe" else "no" end if;
if false then 1 end if;
total := 0:
for i to 100 do total := total + i end do:
total;
for i in [1, 2] do for j in [10, 20] do i + j end do end do;

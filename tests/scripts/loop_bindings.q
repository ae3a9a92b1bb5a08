# A float literal in a loop is read at the Digits of the moment.
for d in [5, 20, 5] do Digits := d; x := 0.12345678901234567890123; x + 1 end do;
Digits := 10:
# A name assigned, unassigned or rebound inside a loop is seen at once, and
# so is a name whose value is another name.
s := 0:
for i to 4 do s := s + i; if i = 2 then s := 's' end if end do;
s := 1.5: a := 'c':
for i to 2 do t := s * i; s := i; c := 10 * i; a end do;

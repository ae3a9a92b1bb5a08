# Information channels: infolevel[channel] := n shows QuarnUserInfo
# messages of level n and below on that channel; "all" covers every
# channel without a level of its own.
infolevel[Statistics];
infolevel[Statistics] := 2;
infolevel[Statistics];
infolevel["hints"];
infolevel[all] := 1:
infolevel[hints];
infolevel[Statistics];
infolevel[Statistics] := 0:
infolevel[Statistics];
infolevel[Statistics] := high;

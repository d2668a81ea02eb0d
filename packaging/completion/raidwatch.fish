# x

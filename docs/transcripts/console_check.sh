show 'biz_console check A2 "F1 08 10 62 01" --size 354'
show 'biz_console rules PVN410MAX'

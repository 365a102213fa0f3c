show 'biz_console rules PVN410MAX'

show 'biz_console rules A3'

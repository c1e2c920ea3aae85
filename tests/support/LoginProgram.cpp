// Logs users in as its standard input tells, with the password file beside it. Prints each result's number on a line.
//
//     login NAME PASSWORD
//     register NAME PASSWORD
//     check NAME PASSWORD         by the parameters; "-" is the empty text

#include "VexLogin.h"

#include <iostream>

int main()
{
	CVexLogin oLogin;
	for (std::string sCommand, sName, sPassword; std::cin >> sCommand;)
	{
		if (sCommand == "login")
			std::cout << oLogin.Login() << std::endl;
		else if (sCommand == "register")
			std::cout << oLogin.Registration() << std::endl;
		else if (sCommand == "check" && std::cin >> sName >> sPassword)
		{
			CVexPassword oPassword(true);
			if (sPassword != "-")
				oPassword.SetPassword(sPassword);
			std::cout << oLogin.Login(sName == "-" ? "" : sName, oPassword) << std::endl;
		}
		else
			return 1;
	}
	return 0;
}
